#pragma once

#include "simulator/trace/TraceFile.h"

/// What the first difference is when everything that one trace tells is done again with another one as the
/// device; empty when there is none.
std::string DifferenceOf(const TraceFile_T& done, TraceFile_T device);
