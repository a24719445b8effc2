#pragma once

#include "tests/endtoend/VirtualUnit.h"

/// Expects the program's requests and writes in a trace to be those of a golden file of the repository, whose
/// notation is explained in xkping_ql4k.golden.
void ExpectGolden(const Trace_T& trace, const std::string& path);

/// The program's requests and writes in a trace, in their order: "ioctl REQUEST+ARGUMENT" or "write BYTES".
std::vector<std::string> CallsOf(const Trace_T& trace);
