#include "station/Command.h"

#include "tools/BoundedFile.h"
#include "tools/Spawn.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace
{
using Clock_T = std::chrono::steady_clock;

constexpr std::chrono::seconds c_EndTime(5);
constexpr int c_NotFound = 127;
constexpr int c_NotExecutable = 126;

void Check(int result, const char* call)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), call);
    }
}

/// While it lives, the requests to end and the ends of children come out of a descriptor, and writing to a
/// pipe without a reader or to a file at its largest size fails instead of ending this process.
class CSignalQueue
{
public:
    CSignalQueue()
    {
        sigset_t handled;
        ::sigemptyset(&handled);
        for (const int signal : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTTOU}) {
            ::sigaddset(&handled, signal);
        }
        ::sigemptyset(&m_Defaults);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            if (::signal(signal, SIG_IGN) != SIG_IGN) {
                ::sigaddset(&m_Defaults, signal);
            }
        }
        ::signal(SIGCHLD, SIG_DFL); // if it is ignored, no end of a child is reported
        ::sigprocmask(SIG_BLOCK, &handled, &m_Before);
        m_Descriptor.emplace(::signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK));
        Check(m_Descriptor->Get(), "signalfd");
    }
    CSignalQueue(const CSignalQueue&) = delete;
    CSignalQueue& operator=(const CSignalQueue&) = delete;
    ~CSignalQueue()
    {
        // A request that came too late for the command ends this process here.
        ::sigprocmask(SIG_SETMASK, &m_Before, nullptr);
    }

    int Descriptor() const { return m_Descriptor->Get(); }
    const sigset_t& Before() const { return m_Before; }
    const sigset_t& Defaults() const { return m_Defaults; }

    /// The next request to end, 0 when there is none.
    int Take() const
    {
        signalfd_siginfo information{};
        while (::read(Descriptor(), &information, sizeof information) == sizeof information) {
            const auto signal = static_cast<int>(information.ssi_signo);
            if (signal != SIGCHLD && signal != SIGTTOU) {
                return signal;
            }
        }
        return 0;
    }

private:
    sigset_t m_Before{};
    sigset_t m_Defaults{}; ///< for the command
    std::optional<CDescriptor> m_Descriptor;
};

/// What the command writes to a stream.
class CStream
{
public:
    CStream()
    {
        std::array<int, 2> ends{};
        Check(::pipe2(ends.data(), O_CLOEXEC), "pipe");
        m_Read.emplace(ends[0]);
        m_Write.emplace(ends[1]);
        Check(::fcntl(ends[0], F_SETFL, O_NONBLOCK), "fcntl");
    }

    int WriteEnd() const { return m_Write->Get(); }
    void CloseWriteEnd() { m_Write.reset(); }
    /// -1 after its end.
    int ReadEnd() const { return m_Read ? m_Read->Get() : -1; }

    /// Passes on what there is; does not wait.
    template <class Function>
    void Drain(Function&& onBytes)
    {
        std::array<char, 65536> bytes;
        while (m_Read) {
            const auto count = ::read(ReadEnd(), bytes.data(), bytes.size());
            if (count > 0) {
                onBytes(std::string_view(bytes.data(), static_cast<std::size_t>(count)));
            } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
                m_Read.reset();
            } else if (errno == EAGAIN) {
                return;
            }
        }
    }

private:
    std::optional<CDescriptor> m_Read;
    std::optional<CDescriptor> m_Write;
};

/// A started command and its group.
class CStarted
{
public:
    CStarted(const std::vector<std::string>& command, const CSignalQueue& signals, int output, int errors)
        : m_HasTerminal(::isatty(STDIN_FILENO) == 1 && ::tcgetpgrp(STDIN_FILENO) == ::getpgrp())
    {
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
        if (m_HasTerminal) {
            ::posix_spawn_file_actions_addtcsetpgrp_np(&actions, STDIN_FILENO);
        }
        m_Failure =
            Spawn(command, signals.Before(), signals.Defaults(), POSIX_SPAWN_SETPGROUP, actions, m_Id);
        ::posix_spawn_file_actions_destroy(&actions);
        m_HasEnded = m_Failure != 0;
    }
    CStarted(const CStarted&) = delete;
    CStarted& operator=(const CStarted&) = delete;
    ~CStarted()
    {
        if (!m_HasEnded) {
            Signal(SIGKILL);
            ::waitpid(m_Id, nullptr, 0);
        }
        GiveTerminal(::getpgrp());
    }

    /// errno if it could not be started, otherwise 0.
    int Failure() const { return m_Failure; }
    void Signal(int signal) const { ::kill(-m_Id, signal); }

    /// Its status, nothing while it runs. If the terminal stopped it, this process stops, too.
    std::optional<int> Ended()
    {
        int status = 0;
        const pid_t id = ::waitpid(m_Id, &status, WNOHANG | (m_HasTerminal ? WUNTRACED : 0));
        Check(id, "waitpid");
        if (id == 0) {
            return std::nullopt;
        }
        if (WIFSTOPPED(status)) {
            GiveTerminal(::getpgrp());
            ::raise(SIGSTOP);
            GiveTerminal(m_Id);
            Signal(SIGCONT);
            return std::nullopt;
        }
        m_HasEnded = true;
        constexpr int signalled = 128;
        return WIFSIGNALED(status) ? signalled + WTERMSIG(status) : WEXITSTATUS(status);
    }

private:
    void GiveTerminal(pid_t group) const
    {
        if (m_HasTerminal && group > 0) {
            ::tcsetpgrp(STDIN_FILENO, group); // SIGTTOU is blocked
        }
    }

    bool m_HasTerminal;
    bool m_HasEnded = false;
    int m_Failure = 0;
    pid_t m_Id = -1;
};
} // namespace

std::string ShellText(const std::vector<std::string>& words)
{
    constexpr std::string_view plain =
        "%+,-./:=@_0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::string text;
    for (const std::string& word : words) {
        text += text.empty() ? "" : " ";
        if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
            text += word;
            continue;
        }
        text += '\'';
        for (const char byte : word) {
            text += byte == '\'' ? "'\\''" : std::string(1, byte);
        }
        text += '\'';
    }
    return text;
}

CommandEnd_T RunCommand(const std::vector<std::string>& command, std::chrono::milliseconds timeout,
                        const std::function<void(int stream, std::string_view bytes)>& onOutput)
{
    const CSignalQueue signals;
    CStream output;
    CStream errors;
    CStarted child(command, signals, output.WriteEnd(), errors.WriteEnd());
    output.CloseWriteEnd();
    errors.CloseWriteEnd();
    CommandEnd_T end;
    if (child.Failure() != 0) {
        end.failure = "cannot start " + command.front() + ": " + std::strerror(child.Failure());
        end.status = child.Failure() == ENOENT ? c_NotFound : c_NotExecutable;
        return end;
    }
    const auto drain = [&] {
        output.Drain([&](std::string_view bytes) { onOutput(STDOUT_FILENO, bytes); });
        errors.Drain([&](std::string_view bytes) { onOutput(STDERR_FILENO, bytes); });
    };
    Clock_T::time_point limit = Clock_T::now() + timeout;
    bool isEnding = false;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock_T::now());
        std::array<pollfd, 3> watched = {{{signals.Descriptor(), POLLIN, 0},
                                          {output.ReadEnd(), POLLIN, 0},
                                          {errors.ReadEnd(), POLLIN, 0}}};
        constexpr std::chrono::milliseconds longest(60'000);
        const auto patience = std::clamp(left, std::chrono::milliseconds(0), longest);
        if (::poll(watched.data(), watched.size(), static_cast<int>(patience.count())) < 0 &&
            errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        drain();
        for (int signal = signals.Take(); signal != 0; signal = signals.Take()) {
            child.Signal(signal);
            limit = isEnding ? limit : Clock_T::now() + c_EndTime;
            isEnding = true;
        }
        if (const std::optional<int> status = child.Ended()) {
            drain();
            end.status = *status;
            return end;
        }
        if (Clock_T::now() >= limit) {
            child.Signal(isEnding ? SIGKILL : SIGTERM);
            end.isTimedOut = end.isTimedOut || !isEnding;
            limit = Clock_T::now() + c_EndTime;
            isEnding = true;
        }
    }
}
