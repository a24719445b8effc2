#include "simulator/ProgramRun.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <spawn.h>
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
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
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
} // namespace

CSignals::CSignals()
{
    sigset_t handled;
    ::sigemptyset(&handled);
    for (const int signal : c_HandledSignals) {
        ::sigaddset(&handled, signal);
    }
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

int RunProgram(const std::vector<std::string>& command, const CSignals& signals,
               const std::vector<int>& descriptors, const std::function<void()>& onReadable)
{
    const pid_t child = Start(command, signals.Before());
    std::vector<pollfd> watched = {{signals.Descriptor(), POLLIN, 0}};
    for (const int descriptor : descriptors) {
        watched.push_back({descriptor, POLLIN, 0});
    }
    for (;;) {
        if (::poll(watched.data(), static_cast<nfds_t>(watched.size()), -1) < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        onReadable();
        for (int signal = signals.Take(); signal != 0; signal = signals.Take()) {
            if (signal == SIGTERM || signal == SIGHUP) {
                ::kill(child, signal);
            }
        }
        int waitStatus = 0;
        if (::waitpid(child, &waitStatus, WNOHANG) == child) {
            return ExitStatus(waitStatus);
        }
    }
}
