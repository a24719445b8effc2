#pragma once

#include "tests/endtoend/VirtualUnit.h"

/// Expects what the program did on its devices in a run to be what a trace of the repository says; what the
/// devices answered is not compared.
void ExpectGolden(const UnitRun_T& run, const std::string& path);

/// The program's requests and writes in a trace, in their order: "ioctl REQUEST+ARGUMENT" or "write BYTES".
std::vector<std::string> CallsOf(const Trace_T& trace);
