#include "simulator/unit/ProgramRun.h"

#include "tools/Spawn.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <elf.h>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace
{
constexpr char c_EmulatorVariable[] = "SONARBENCH_EMULATOR";

/// The processor that a program's file is built for: format, width, byte order and machine.
std::string ProcessorOf(const std::filesystem::path& program)
{
    // The machine is at the same offset in files of both widths.
    std::array<char, offsetof(Elf32_Ehdr, e_version)> head{};
    std::ifstream(program, std::ios::binary).read(head.data(), head.size());
    return std::string(head.data(), EI_VERSION)
        .append(head.begin() + offsetof(Elf32_Ehdr, e_machine), head.end());
}

constexpr std::array<int, 6> c_HandledSignals = {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
/// When passing a signal on is tried again, and the time after a request to end is checked.
constexpr int c_RetryMilliseconds = 10;

pid_t Start(const std::vector<std::string>& command, const CSignals& signals, const RunWatch_T& watch)
{
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    if (watch.isSilent) {
        ::posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    pid_t child = -1;
    // A group of its own gets the keyboard's signals only from here, not twice.
    const int group = watch.hasOwnSession ? POSIX_SPAWN_SETSID : POSIX_SPAWN_SETPGROUP;
    const int error = Spawn(command, signals.Before(), signals.Defaults(), group, files, child);
    ::posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        throw CannotStart_T(error, std::generic_category(), "cannot start " + command[0]);
    }
    return child;
}

/// A program that was started. The destructor ends it if its end was not seen.
class CChild
{
public:
    explicit CChild(pid_t id) : m_Id(id) {}
    CChild(const CChild&) = delete;
    CChild& operator=(const CChild&) = delete;
    ~CChild()
    {
        if (!m_HasEnded) {
            ::kill(-m_Id, SIGKILL);
            ::waitpid(m_Id, nullptr, 0);
        }
    }

    /// Its exit status, nothing while it runs.
    std::optional<int> Ended()
    {
        int status = 0;
        const pid_t ended = ::waitpid(m_Id, &status, WNOHANG);
        if (ended < 0) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
        m_HasEnded = ended == m_Id;
        return m_HasEnded ? std::optional(WIFSIGNALED(status) ? StatusOfSignal(WTERMSIG(status))
                                                              : WEXITSTATUS(status))
                          : std::nullopt;
    }

private:
    const pid_t m_Id;
    bool m_HasEnded = false;
};

} // namespace

std::filesystem::path HelperFile(const char* name)
{
    constexpr std::array<const char*, 2> c_Places = {".", SONARBENCH_LIBRARY_FROM_PROGRAMS};
    const std::filesystem::path here = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    for (const char* place : c_Places) {
        if (std::filesystem::path file = (here / place / name).lexically_normal();
            std::filesystem::exists(file)) {
            return file;
        }
    }
    throw std::runtime_error(std::string(name) + " is missing; it belongs into " + here.string());
}

bool IsEmulated() { return std::getenv(c_EmulatorVariable) != nullptr; }

std::vector<std::string> EmulatorOf(const std::filesystem::path& program)
{
    std::vector<std::string> words;
    const char* const pEmulator = std::getenv(c_EmulatorVariable);
    if (pEmulator != nullptr && ProcessorOf(program) == ProcessorOf("/proc/self/exe")) {
        std::istringstream text(pEmulator);
        for (std::string word; text >> word;) {
            words.push_back(word);
        }
    }
    return words;
}

CSignals::CSignals()
{
    sigset_t handled;
    ::sigemptyset(&handled);
    for (const int signal : c_HandledSignals) {
        ::sigaddset(&handled, signal);
    }
    // GLib ignores this signal, which programs would inherit.
    ::sigemptyset(&m_Defaults);
    struct sigaction pipe {
    };
    ::sigaction(SIGPIPE, nullptr, &pipe);
    if (pipe.sa_handler != SIG_IGN) {
        ::sigaddset(&m_Defaults, SIGPIPE);
    }
    // If the signal is ignored, no end of a child is reported.
    ::signal(SIGCHLD, SIG_DFL);
    m_Descriptor = ::signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK);
    ::sigaddset(&handled, SIGALRM);
    ::sigprocmask(SIG_BLOCK, &handled, &m_Before);
    m_EndDescriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_Descriptor < 0 || m_EndDescriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
}

CSignals::~CSignals()
{
    ::close(m_Descriptor);
    ::close(m_EndDescriptor);
    ::sigprocmask(SIG_SETMASK, &m_Before, nullptr);
}

int CSignals::TakeRequest() const
{
    signalfd_siginfo information{};
    while (::read(m_Descriptor, &information, sizeof information) == sizeof information) {
        const auto signal = static_cast<int>(information.ssi_signo);
        if (signal == SIGCHLD) {
            continue;
        }
        if (int none = 0; signal != SIGTSTP && m_EndRequest.compare_exchange_strong(none, signal)) {
            ::eventfd_write(m_EndDescriptor, 1);
        }
        return signal;
    }
    return 0;
}

void CSignals::Stop()
{
    sigset_t stop;
    ::sigemptyset(&stop);
    ::sigaddset(&stop, SIGTSTP);
    ::raise(SIGTSTP);
    ::sigprocmask(SIG_UNBLOCK, &stop, nullptr);
    ::sigprocmask(SIG_BLOCK, &stop, nullptr);
}

int RunCommand(const std::vector<std::string>& command, const CSignals& signals, const RunWatch_T& watch)
{
    using Clock_T = std::chrono::steady_clock;
    const pid_t id = Start(command, signals, watch);
    CChild child(id);
    const auto passOn =
        watch.passOn ? watch.passOn : [](int signal, pid_t started) { return ::kill(started, signal) == 0; };
    const auto wasPassedOn = [&](int signal) {
        const bool isDone = passOn(signal, id);
        if (isDone && signal == SIGTSTP) {
            ::kill(-id, SIGSTOP);
            CSignals::Stop();
            ::kill(-id, SIGCONT);
            passOn(SIGCONT, id);
        }
        return isDone;
    };
    std::vector<int> requests; // that are not passed on yet
    std::optional<Clock_T::time_point> end;
    std::vector<pollfd> watched = {{signals.Descriptor(), POLLIN, 0}};
    for (const int descriptor : watch.descriptors) {
        watched.push_back({descriptor, POLLIN, 0});
    }
    for (;;) {
        const int timeout = requests.empty() && !end ? -1 : c_RetryMilliseconds;
        if (::poll(watched.data(), static_cast<nfds_t>(watched.size()), timeout) < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        watch.onReadable(id);
        for (int signal = signals.TakeRequest(); signal != 0; signal = signals.TakeRequest()) {
            requests.push_back(signal);
            if (signal != SIGTSTP && !end) {
                end = Clock_T::now() + c_EndTime;
            }
        }
        std::erase_if(requests, wasPassedOn); // first, since waitpid() blocks while proot is stopped
        if (end && Clock_T::now() >= *end) {
            ::kill(-id, SIGKILL);
        }
        if (const std::optional<int> status = child.Ended()) {
            return *status;
        }
    }
}

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
