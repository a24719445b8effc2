#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Whether the simulator itself runs under an emulator: the variable SONARBENCH_EMULATOR tells.
bool IsEmulated();

/// The words in front of a program's file that start it on this machine: those of SONARBENCH_EMULATOR when
/// the program is built for the simulator's kind of processor. None without an emulator, and for anything
/// else, such as a script, which the machine runs itself.
std::vector<std::string> EmulatorOf(const std::filesystem::path& program);
