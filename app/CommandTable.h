#pragma once

#include "framework/TestResult.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

class CSonarTestController;

/// How a command is written.
struct CommandForm_T {
    std::string_view word;
    std::string_view arguments;                ///< their names, with blanks between; empty: any are accepted
    std::span<const std::string_view> choices; ///< words that the last argument may be; empty: any word
};

/// All commands. The fuzzer builds command lines from them; tests check that every list of commands is
/// complete.
std::vector<CommandForm_T> CommandForms();

/// Runs the command that argv[1] names.
/// @param output  receives what the command reports
/// @return the result of the run; NOT_RECOGNIZED, with nothing done, for a missing or unknown command
/// word, and for a wrong number of arguments of speed
TestResult_T RunCommand(CSonarTestController& controller, int argc, char* argv[], std::string& output);
