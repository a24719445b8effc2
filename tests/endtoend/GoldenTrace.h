#pragma once

#include "simulator/trace/TraceFile.h"

/// Repeats all operations of one trace with another one as the device. Returns the first difference; empty
/// when there is no difference.
std::string DifferenceOf(const TraceFile_T& done, TraceFile_T device);
