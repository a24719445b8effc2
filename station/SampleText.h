#pragma once

#include "station/Run.h"

#include <string_view>

/// Reads what stands between the markers of a sample block, of either form.
/// @return false, with the samples as they were, when it is no such text
bool ReadSamples(std::string_view text, Samples_T& samples);
