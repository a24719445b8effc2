#pragma once

#include "simulator/TraceFile.h"
#include "tests/endtoend/VirtualUnit.h"

/// What the first difference is when everything that one trace tells is done again with another one as the
/// device; empty when there is none.
std::string DifferenceOf(const TraceFile_T& done, TraceFile_T device);

/// Expects what the program did on its devices in a run to be what a trace of the repository says; what the
/// devices answered is not compared.
void ExpectGolden(const UnitRun_T& run, const std::string& path);

/// The program's requests and writes in a trace, in their order: "ioctl REQUEST+ARGUMENT" or "write BYTES".
std::vector<std::string> CallsOf(const Trace_T& trace);
