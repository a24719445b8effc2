// The parent of the program under test inside the sandbox. It is a separate program because it starts with
// every run and does not need the simulator's libraries.

#include "simulator/unit/ProgramRun.h"

#include <cstdio>
#include <exception>
#include <fstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
/// Ends all children. When a child ends, its own children become children of this process.
void EndChildren()
{
    const std::string list = "/proc/self/task/" + std::to_string(::getpid()) + "/children";
    for (;;) {
        std::ifstream children(list);
        pid_t child = -1;
        if (!(children >> child)) {
            return;
        }
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
}

/// Runs the command, passes signals on to it, and ends whatever it left running. The id of this process is in
/// a file before the command starts, its exit status in another at the end.
void Supervise(const char* idFile, const char* statusFile, const std::vector<std::string>& command)
{
    const CSignals signals;
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::ofstream(idFile) << ::getpid() << '\n';
    int status = 0;
    try {
        status = RunCommand(command, signals, {});
    } catch (...) {
        ::unlink(idFile); // the file says that the program was started
        throw;
    }
    EndChildren();
    std::ofstream(statusFile) << status << '\n';
}
} // namespace

/// Usage: sonarbench-sim-supervisor ID_FILE STATUS_FILE COMMAND...
int main(int argc, char** argv)
{
    constexpr int c_FirstWord = 3;
    if (argc <= c_FirstWord) {
        std::fputs("only sonarbench-sim starts sonarbench-sim-supervisor\n", stderr);
        return 2;
    }
    try {
        Supervise(argv[1], argv[2], {argv + c_FirstWord, argv + argc});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sonarbench-sim: %s\n", error.what());
        return 3;
    }
}
