#pragma once

#include "tests/endtoend/VirtualUnit.h"

/// Reads a golden file of the repository (its notation is explained in xkping_ql4k.golden) into one text for
/// each operation of the program, as CallsOf() gives them.
std::vector<std::string> ReadGolden(const std::string& path);

/// The program's requests and writes in a trace, in their order: "ioctl REQUEST+ARGUMENT" or "write BYTES".
std::vector<std::string> CallsOf(const Trace_T& trace);
