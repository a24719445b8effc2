#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Reads a golden file (its notation is explained in xkping_ql4k.golden) into one text for each operation of
/// the program: "ioctl REQUEST+ARGUMENT" or "write BYTES", as CallsOf() gives them.
std::vector<std::string> ReadGolden(const std::filesystem::path& file);

/// The program's requests and writes in a trace, in their order, without times and meanings.
std::vector<std::string> CallsOf(const std::vector<std::string>& trace);
