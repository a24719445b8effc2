#include "simulator/ProgramRun.h"

#include <array>
#include <cerrno>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace
{
constexpr std::array<int, 4> c_HandledSignals = {SIGCHLD, SIGINT, SIGTERM, SIGHUP};

pid_t Start(const std::vector<std::string>& command, const sigset_t& signalMask)
{
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str())); // posix_spawn does not change them
    }
    arguments.push_back(nullptr);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setsigmask(&attributes, &signalMask);
    // Of its own, so that the keyboard's interrupt comes once: from here.
    ::posix_spawnattr_setpgroup(&attributes, 0);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    pid_t child = -1;
    const int error = ::posix_spawnp(&child, arguments[0], nullptr, &attributes, arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot start " + command[0]);
    }
    return child;
}

int ExitStatus(int waitStatus)
{
    return WIFSIGNALED(waitStatus) ? 128 + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

/// Ends all children, of which there are more as the parents among them end.
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
} // namespace

CSignals::CSignals()
{
    sigset_t handled;
    ::sigemptyset(&handled);
    for (const int signal : c_HandledSignals) {
        ::sigaddset(&handled, signal);
    }
    // An ignored end of a child would never be told.
    ::signal(SIGCHLD, SIG_DFL);
    ::sigprocmask(SIG_BLOCK, &handled, &m_Before);
    m_Descriptor = ::signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_Descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
}

CSignals::~CSignals()
{
    ::close(m_Descriptor);
    ::sigprocmask(SIG_SETMASK, &m_Before, nullptr);
}

int CSignals::Take() const
{
    signalfd_siginfo information{};
    const bool taken = ::read(m_Descriptor, &information, sizeof information) == sizeof information;
    return taken ? static_cast<int>(information.ssi_signo) : 0;
}

int RunProgram(const std::vector<std::string>& command, const CSignals& signals, const RunWatch_T& watch)
{
    const pid_t child = Start(command, signals.Before());
    const auto onSignal = watch.onSignal ? watch.onSignal : [child](int signal) { ::kill(child, signal); };
    std::vector<pollfd> watched = {{signals.Descriptor(), POLLIN, 0}};
    for (const int descriptor : watch.descriptors) {
        watched.push_back({descriptor, POLLIN, 0});
    }
    for (;;) {
        if (::poll(watched.data(), static_cast<nfds_t>(watched.size()), -1) < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        watch.onReadable();
        for (int signal = signals.Take(); signal != 0; signal = signals.Take()) {
            if (signal != SIGCHLD) {
                onSignal(signal);
            }
        }
        int waitStatus = 0;
        const pid_t ended = ::waitpid(child, &waitStatus, WNOHANG);
        if (ended == child) {
            return ExitStatus(waitStatus);
        }
        if (ended < 0) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
    }
}

int RunSupervised(const std::filesystem::path& idFile, const std::filesystem::path& statusFile,
                  const std::vector<std::string>& command)
{
    const CSignals signals;
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::ofstream(idFile) << ::getpid() << '\n';
    const int status = RunProgram(command, signals, {});
    EndChildren();
    std::ofstream(statusFile) << status << '\n';
    return 0;
}
