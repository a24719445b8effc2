// The parent of the program under test inside the sandbox. It is a separate program because it starts with
// every run and does not need the simulator's libraries.

#include "simulator/unit/ProgramRun.h"
#include "simulator/unit/SupervisorLink.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <sys/prctl.h>
#include <system_error>
#include <unistd.h>

namespace
{
using Kind_T = SupervisorReport_T::Kind;

/// Delivers the signals that the simulator sends. Ends the program when the simulator is gone.
void Deliver(int socket, pid_t program)
{
    int signal = 0;
    ssize_t size = 0;
    while ((size = TakeMessage(socket, signal)) == sizeof signal) {
        const bool isForAll = signal == SIGTSTP || signal == SIGCONT;
        ::kill(isForAll ? -program : program, signal);
        if (signal == SIGTSTP) {
            SendMessage(socket, SupervisorReport_T{Kind_T::Stopped});
        }
    }
    if (size == 0) {
        ::kill(-program, SIGKILL);
    }
}

/// Runs the command, passes signals on to it, and ends whatever it left running.
void Supervise(int socket, const std::vector<std::string>& command)
{
    const CSignals signals;
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    if (::getpid() == 1) { // the program must not trace it; proot must
        ::prctl(PR_SET_DUMPABLE, 0);
    }
    if (::fcntl(socket, F_SETFD, FD_CLOEXEC) != 0) { // the program must not have it
        throw std::system_error(errno, std::generic_category(), "cannot use the simulator's socket");
    }
    SupervisorReport_T report{Kind_T::Started};
    SendMessage(socket, report);
    report = {Kind_T::Ended,
              RunCommand(command, signals, {.descriptors = {socket}, .onReadable = [socket](pid_t id) {
                                                Deliver(socket, id);
                                            }})};
    EndChildren();
    SendMessage(socket, report);
}
} // namespace

/// Usage: sonarbench-sim-supervisor SOCKET COMMAND...
int main(int argc, char** argv)
{
    constexpr int c_FirstWord = 2;
    int socket = -1;
    if (argc <= c_FirstWord ||
        std::from_chars(argv[1], argv[1] + std::strlen(argv[1]), socket).ec != std::errc()) {
        std::fputs("only sonarbench-sim starts sonarbench-sim-supervisor\n", stderr);
        return 2;
    }
    try {
        Supervise(socket, {argv + c_FirstWord, argv + argc});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sonarbench-sim: %s\n", error.what());
        return 3;
    }
}
