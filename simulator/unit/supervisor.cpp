// The parent of the program under test inside the sandbox. It is a separate program because it starts with
// every run and does not need the simulator's libraries.

#include "simulator/unit/ProgramRun.h"
#include "simulator/unit/SupervisorLink.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace
{
using Kind_T = SupervisorReport_T::Kind;

// Numbers of the words in the command line.
constexpr int c_Socket = 1;
constexpr int c_Errors = 2;

/// This processor, as a filter of system calls sees it; 0 when it is not known here.
#if defined(__x86_64__) && !defined(__ILP32__)
constexpr std::uint32_t c_Processor = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t c_Processor = AUDIT_ARCH_AARCH64;
#elif defined(__arm__)
constexpr std::uint32_t c_Processor = AUDIT_ARCH_ARM;
#elif defined(__i386__)
constexpr std::uint32_t c_Processor = AUDIT_ARCH_I386;
#else
constexpr std::uint32_t c_Processor = 0;
#endif

/// Lets sync() succeed without its work for the program and all that it starts. The unit's files are in
/// memory, and the program must not wait for this machine's disks. Without filters in the kernel, it waits.
void KeepFromDisks()
{
    constexpr std::uint16_t c_Load = BPF_LD | BPF_W | BPF_ABS;
    constexpr std::uint16_t c_SkipUnless = BPF_JMP | BPF_JEQ | BPF_K;
    constexpr std::uint16_t c_Return = BPF_RET | BPF_K;
    std::array<sock_filter, 6> filter = {{{c_Load, 0, 0, offsetof(seccomp_data, arch)},
                                          {c_SkipUnless, 0, 3, c_Processor},
                                          {c_Load, 0, 0, offsetof(seccomp_data, nr)},
                                          {c_SkipUnless, 0, 1, SYS_sync},
                                          {c_Return, 0, 0, SECCOMP_RET_ERRNO},
                                          {c_Return, 0, 0, SECCOMP_RET_ALLOW}}};
    const sock_fprog program = {filter.size(), filter.data()};
    ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}

void SetVariable(char* word)
{
    if (std::strchr(word, '=') != nullptr) {
        ::putenv(word);
    } else {
        ::unsetenv(word);
    }
}

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

/// Runs the command and passes signals on to it; returns its exit status.
int Run(int socket, const std::vector<std::string>& command, const CSignals& signals)
{
    return RunCommand(command, signals,
                      {.descriptors = {socket}, .onReadable = [socket](pid_t id) { Deliver(socket, id); }});
}

/// Runs the command, and ends whatever it left running.
void Supervise(int socket, const std::vector<std::string>& command)
{
    const CSignals signals;
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    if (::getpid() == 1) { // the program must not trace it; proot must
        ::prctl(PR_SET_DUMPABLE, 0);
        KeepFromDisks();
    }
    if (::fcntl(socket, F_SETFD, FD_CLOEXEC) != 0) { // the program must not have it
        throw std::system_error(errno, std::generic_category(), "cannot use the simulator's socket");
    }
    SupervisorReport_T report{Kind_T::Started};
    SendMessage(socket, report);
    report.kind = Kind_T::Ended;
    try {
        report.status = Run(socket, command, signals);
    } catch (const CannotStart_T&) { // env says why, and gives a script without "#!" to a shell
        std::vector<std::string> words = {"env"};
        words.insert(words.end(), command.begin(), command.end());
        report.status = Run(socket, words, signals);
    }
    EndChildren();
    SendMessage(socket, report);
}
} // namespace

/// Usage: sonarbench-sim-supervisor SOCKET ERRORS [VARIABLE[=VALUE]...] -- COMMAND... Sets variables, or
/// removes those without a value. SOCKET and ERRORS, which becomes standard error, are numbers of
/// descriptors.
int main(int argc, char** argv)
{
    char** const pEnd = argv + argc;
    char** const pCommand =
        std::find_if(argv, pEnd, [](const char* word) { return std::strcmp(word, "--") == 0; });
    if (pCommand - argv <= c_Errors || pEnd - pCommand <= 1) {
        std::fputs("only sonarbench-sim starts sonarbench-sim-supervisor\n", stderr);
        return 2;
    }
    try {
        const int errors = std::stoi(argv[c_Errors]);
        ::dup2(errors, STDERR_FILENO);
        ::close(errors);
        std::for_each(argv + c_Errors + 1, pCommand, SetVariable);
        Supervise(std::stoi(argv[c_Socket]), {pCommand + 1, pEnd});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sonarbench-sim: %s\n", error.what());
        return 3;
    }
}
