#pragma once

#include "station/transcript/Run.h"

#include <string_view>
#include <vector>

/// A block of samples that was cut out of a run file.
struct SampleCut_T {
    std::uint64_t place = 0; ///< where it was, in bytes of the text without any blocks
    std::uint64_t line = 0;  ///< of the file, from 1
    const char* form = "";   ///< how the samples were written, a name of the table in SampleCut.cpp
    Bytes_T samples;         ///< two bytes each, the lower one first
};

/// Cuts the samples out of a run file, where WithSamples() can write them again as they were.
/// @return the rest of the file
Bytes_T CutSamples(std::string_view file, std::vector<SampleCut_T>& cuts);

/// Writes samples of a form, as they were before they were cut out. Throws std::runtime_error for a form that
/// is not known.
void AppendSamples(Bytes_T& text, std::string_view form, std::string_view samples);
