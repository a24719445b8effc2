#pragma once

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

/// A file of the simulator by its name, next to the simulator's program or, if installed, in the library
/// directory. Throws std::runtime_error when it is missing.
std::filesystem::path HelperFile(const char* name);

/// Whether the simulator itself runs under an emulator, whose command is in the variable SONARBENCH_EMULATOR.
bool IsEmulated();

/// The words to put in front of a program's file so that it starts on this machine: those of
/// SONARBENCH_EMULATOR for a program built for the same processor as the simulator. None without an emulator,
/// and for other files, such as scripts, which the machine runs itself.
std::vector<std::string> EmulatorOf(const std::filesystem::path& program);

/// While it lives, signals come out of a descriptor: the end of a child, and requests to end or to stop; and
/// SIGALRM, which a time limit sends, is blocked. Must be made before the process starts a thread, since a
/// signal goes to any thread that does not block it, and before a library changes what the process does at
/// SIGPIPE.
class CSignals
{
public:
    /// Throws std::system_error when the system refuses.
    CSignals();
    CSignals(const CSignals&) = delete;
    CSignals& operator=(const CSignals&) = delete;
    ~CSignals();

    /// Readable when a signal waits.
    int Descriptor() const { return m_Descriptor; }
    /// Takes the signals that wait, up to the next request; returns that one, 0 when there is none.
    int TakeRequest() const;
    /// The first request to end that was taken, 0 when there is none. For any thread.
    int EndRequest() const { return m_EndRequest; }
    /// Readable when a request to end was taken.
    int EndDescriptor() const { return m_EndDescriptor; }
    /// Stops this process until it is continued, like SIGTSTP without a handler.
    static void Stop();
    /// The signals that were blocked before, for programs to start with.
    const sigset_t& Before() const { return m_Before; }
    /// The signals that programs must start with the default action for.
    const sigset_t& Defaults() const { return m_Defaults; }

private:
    sigset_t m_Before{};
    sigset_t m_Defaults{};
    int m_Descriptor;
    int m_EndDescriptor;
    mutable std::atomic<int> m_EndRequest{0};
};

/// What RunCommand() does while a program runs.
struct RunWatch_T {
    std::vector<int> descriptors = {}; ///< to wait for
    /// Called when one of them has input, given the id of what RunCommand() started.
    std::function<void(pid_t child)> onReadable = [](pid_t) {};
    /// Passes SIGINT, SIGTERM, SIGHUP, SIGQUIT or SIGTSTP on, given the same id, and SIGCONT after SIGTSTP.
    /// Called again and again until it returns true: the signal arrived and, after SIGTSTP, the program has
    /// stopped. None: the signal goes to what RunCommand() started.
    std::function<bool(int signal, pid_t child)> passOn = {};
    /// Whether the program gets a session of its own, in which it cannot put input into this process's
    /// terminal. Otherwise it gets a process group of its own.
    bool hasOwnSession = false;
    bool isSilent = false; ///< whether its standard error is lost
};

/// The system refused to start a command.
struct CannotStart_T : std::system_error {
    using std::system_error::system_error;
};

/// The exit status for an end by a signal.
constexpr int StatusOfSignal(int signal) { return 128 + signal; }

/// How long a program may take to end after a request to end. Then its process group gets SIGKILL.
inline constexpr std::chrono::milliseconds c_EndTime(500);

/// Runs a command (found by PATH) with this process's standard streams, in a process group of its own, and
/// waits for its end, after a request to end no longer than c_EndTime. At SIGTSTP this process and the
/// command's group stop until this process is continued. Returns its exit status, StatusOfSignal() when a
/// signal ended it. Throws CannotStart_T, or std::system_error when it cannot be waited for; then, and when
/// the watch throws, it is ended.
int RunCommand(const std::vector<std::string>& command, const CSignals& signals, const RunWatch_T& watch);

/// Ends all children of this thread's process, and their children: a process that has
/// PR_SET_CHILD_SUBREAPER gets the children of a child that ends.
void EndChildren();
