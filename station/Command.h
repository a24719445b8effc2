#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// How a command ended.
struct CommandEnd_T {
    int status = 0;          ///< as a shell shows it: 128 and the number of the signal that ended it
    bool isTimedOut = false; ///< it was asked to end, because the time was over
    std::string failure;     ///< why it could not be started; empty: it was
};

/// A command for a shell: a word with characters that mean something there is quoted.
std::string ShellText(const std::vector<std::string>& words);

/// Runs a command, found by PATH, in a process group of its own, which gets the terminal if this process has
/// it, and waits for its end. SIGINT, SIGTERM, SIGHUP and SIGQUIT are passed on to the group. When the time
/// is over, it gets SIGTERM. Five seconds after any of these it gets SIGKILL.
/// @param onOutput  gets what the command writes, as it comes, with STDOUT_FILENO or STDERR_FILENO
/// @throw std::system_error when the system refuses
CommandEnd_T RunCommand(const std::vector<std::string>& command, std::chrono::milliseconds timeout,
                        const std::function<void(int stream, std::string_view bytes)>& onOutput);
