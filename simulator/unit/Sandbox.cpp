#include "simulator/unit/Sandbox.h"

#include "simulator/unit/SupervisorLink.h"
#include "simulator/unit/UnitFiles.h"
#include "tools/BoundedFile.h"
#include "tools/Program.h"

#include <QProcess>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <stdexcept>
#include <sys/prctl.h>
#include <system_error>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
namespace fs = std::filesystem;
using Command_T = std::vector<std::string>;

constexpr char c_RootDirectory[] = "root";
constexpr char c_Supervisor[] = "supervisor";
constexpr char c_SupervisorFile[] = "sonarbench-sim-supervisor";
constexpr char c_Processes[] = "/proc";

void Append(Command_T& command, const Command_T& words)
{
    command.insert(command.end(), words.begin(), words.end());
}

bool IsInstalled(const QString& tool) { return !QStandardPaths::findExecutable(tool).isEmpty(); }

/// The words that make bubblewrap isolate a program, given those that make its root directory. The first
/// process in there is the program that bubblewrap starts: when it ends, all others end, and none of them can
/// stop or kill it.
Command_T Isolated(const Command_T& root)
{
    Command_T command = {"bwrap",         "--die-with-parent", "--unshare-pid", "--as-pid-1", "--unshare-net",
                         "--unshare-ipc", "--unshare-uts",     "--cap-drop",    "ALL"};
    Append(command, root);
    // Root can change the kernel's settings there even without capabilities.
    Append(command, {"--proc", c_Processes, "--remount-ro", c_Processes});
    return command;
}

/// On machines that refuse namespaces, bubblewrap can be installed but fails.
bool BubblewrapWorks()
{
    Command_T command = Isolated({"--ro-bind", "/", "/"});
    command.emplace_back("true");
    QStringList words;
    for (const std::string& word : command) {
        words.append(QString::fromStdString(word));
    }
    QProcess trial;
    trial.start(words.takeFirst(), words);
    return trial.waitForFinished() && trial.exitStatus() == QProcess::NormalExit && trial.exitCode() == 0;
}

/// Also true of a file without contents.
bool IsEmpty(const fs::path& path)
{
    // A directory that has others has more than 2 links. To list a large one takes longer.
    std::error_code isUnreadable;
    return fs::hard_link_count(path, isUnreadable) <= 2 && fs::is_empty(path, isUnreadable);
}

struct RootEntry_T {
    fs::path path;
    fs::path target; ///< of a link; otherwise empty
};

/// The entries of this machine's root directory that no binding replaces. The sandbox's root is made of them,
/// because directories such as /corvane cannot be made in the real one.
std::vector<RootEntry_T> RootEntries(const std::vector<Binding_T>& bindings)
{
    std::vector<RootEntry_T> entries;
    // Not "/", because an emulator shows another one to programs.
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/root")) {
        const fs::path path = "/" / entry.path().filename();
        const auto replaces = [&](const Binding_T& binding) { return binding.inside == path; };
        if (std::ranges::none_of(bindings, replaces)) {
            entries.push_back({path, entry.is_symlink() ? fs::read_symlink(entry.path()) : ""});
        }
    }
    return entries;
}

Command_T BubblewrapCommand(const Sandbox_T& sandbox)
{
    constexpr std::array<const char*, 3> c_Options = {"--ro-bind-try", "--bind-try", "--dev-bind-try"};
    Command_T root;
    for (const RootEntry_T& entry : RootEntries(sandbox.bindings)) {
        if (entry.path == c_Processes) {
            continue;
        }
        if (!entry.target.empty()) {
            Append(root, {"--symlink", entry.target, entry.path});
        } else if (IsEmpty(entry.path)) {
            Append(root, {"--dir", entry.path}); // takes less time than a mount
        } else {
            Append(root, {"--ro-bind-try", entry.path, entry.path});
        }
    }
    Command_T command = Isolated(root);
    for (const Binding_T& binding : sandbox.bindings) {
        if (binding.access == Access_T::Empty) {
            Append(command, {"--tmpfs", binding.inside});
        } else {
            const char* const option = c_Options[static_cast<std::size_t>(binding.access)];
            Append(command, {option, binding.host, binding.inside});
        }
    }
    Append(command, {"--remount-ro", "/", "--chdir", sandbox.workingDirectory, "--"});
    return command;
}

Command_T ProotCommand(const Sandbox_T& sandbox)
{
    const fs::path root = sandbox.directory / c_RootDirectory;
    // proot traces the program, so a leak checker cannot trace it.
    Command_T command = {"env", "LSAN_OPTIONS=detect_leaks=0", "proot", "-v", "-1", "-r", root};
    const auto bind = [&](const fs::path& host, const fs::path& inside) {
        if (host.string().find(':') != std::string::npos || inside.string().find(':') != std::string::npos) {
            throw std::runtime_error("proot, which is used here instead of bubblewrap, cannot use the path " +
                                     host.string() + ", which has a colon");
        }
        if (fs::exists(host)) {
            Append(command, {"-b", host.string() + ":" + inside.string()});
        }
    };
    std::vector<Binding_T> bindings = sandbox.bindings; // proot has no empty directories
    std::erase_if(bindings, [](const Binding_T& binding) { return binding.access == Access_T::Empty; });
    fs::create_directory(root);
    for (const RootEntry_T& entry : RootEntries(bindings)) {
        if (entry.target.empty()) {
            bind(entry.path, entry.path);
        } else {
            fs::create_symlink(entry.target, root / entry.path.filename());
        }
    }
    for (const Binding_T& binding : bindings) {
        bind(binding.host, binding.inside);
    }
    Append(command, {"-w", sandbox.workingDirectory});
    return command;
}

/// Throws when the program cannot run without isolation; otherwise says that it does.
void PermitProot(const Sandbox_T& sandbox)
{
    if (!IsInstalled(u"proot"_s)) {
        throw std::runtime_error("neither bwrap (with namespaces) nor proot can be used here; install "
                                 "bubblewrap or proot");
    }
    if (!sandbox.mayBeOpen) {
        throw std::runtime_error("bwrap cannot isolate the program here, so it could change this machine as "
                                 "root; --no-isolation runs it nevertheless");
    }
    PrintError(
        "the program is not isolated from this machine, because bwrap (with namespaces) cannot be used "
        "here");
}

/// The words that make the sandbox, and whether it isolates the program.
struct Tool_T {
    Command_T command;
    bool isolates;
};

/// The supervisor and the arguments of RunInSandbox().
struct Run_T {
    const Binding_T& supervisor; ///< its file
    const std::vector<std::string>& program;
    const CSignals& signals;
    const std::vector<int>& descriptors;
    const std::function<void()>& onReadable;
};

/// The connection to the supervisor.
class CSupervisor
{
public:
    CSupervisor()
    {
        if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, m_Sockets.data()) != 0 ||
            ::fcntl(m_Sockets[1], F_SETFD, 0) != 0) { // the supervisor inherits its end
            throw std::system_error(errno, std::generic_category(), "socketpair");
        }
    }
    CSupervisor(const CSupervisor&) = delete;
    CSupervisor& operator=(const CSupervisor&) = delete;
    ~CSupervisor()
    {
        for (const int socket : m_Sockets) {
            ::close(socket);
        }
    }

    int Inherited() const { return m_Sockets[1]; }
    /// Sends a signal to the program, or as soon as it has started.
    bool Deliver(int signal) const { return SendMessage(m_Sockets[0], signal); }
    /// Makes the program stop; returns true when the supervisor has done so. Call it until then.
    bool Stop()
    {
        m_IsStopping = m_IsStopping || Deliver(SIGTSTP);
        TakeReports();
        m_IsStopping = m_IsStopping && !m_HasStopped;
        return std::exchange(m_HasStopped, false);
    }
    void TakeReports()
    {
        SupervisorReport_T report{};
        while (TakeMessage(m_Sockets[0], report) == sizeof report) {
            m_HasStarted = true;
            m_HasStopped = m_HasStopped || report.kind == SupervisorReport_T::Kind::Stopped;
            if (report.kind == SupervisorReport_T::Kind::Ended) {
                m_Status = report.status;
            }
        }
    }
    bool HasStarted() const { return m_HasStarted; }
    /// The program's exit status.
    std::optional<int> Status() const { return m_Status; }

private:
    std::array<int, 2> m_Sockets{};
    bool m_IsStopping = false;
    bool m_HasStopped = false;
    bool m_HasStarted = false;
    std::optional<int> m_Status;
};
/// The words after those of the tool: the supervisor, the variables that it sets, so that the tool itself
/// runs without the preloaded library, and the program.
Command_T SupervisorCommand(const Sandbox_T& sandbox, const CSupervisor& supervisor, int errors,
                            const Run_T& run)
{
    Command_T command = EmulatorOf(run.supervisor.host);
    Append(command, {run.supervisor.inside, std::to_string(supervisor.Inherited()), std::to_string(errors)});
    Append(command, sandbox.unsetEnvironment);
    for (const auto& [name, value] : sandbox.environment) {
        command.push_back(std::string(name).append("=").append(value));
    }
    command.emplace_back("--");
    Append(command, run.program);
    return command;
}

/// Runs the program in the sandbox that a tool makes; returns nothing when the tool could not make it. What
/// the tool says about that is lost if it is silent.
std::optional<int> RunWithTool(Tool_T tool, const Sandbox_T& sandbox, const Run_T& run)
{
    CSupervisor supervisor;
    const CDescriptor errors(
        ::fcntl(STDERR_FILENO, F_DUPFD, STDERR_FILENO + 1)); // the supervisor inherits it
    Append(tool.command, SupervisorCommand(sandbox, supervisor, errors.Get(), run));
    const auto passOn = [&](int signal, pid_t started) {
        if (!tool.isolates && signal == SIGTSTP) {
            return ::kill(started, SIGSTOP) == 0; // before its group, because proot continues what it traces
        }
        return signal == SIGTSTP ? supervisor.Stop() : supervisor.Deliver(signal);
    };
    for (int signal = run.signals.TakeRequest(); signal != 0; signal = run.signals.TakeRequest()) {
        if (signal != SIGTSTP) {
            return StatusOfSignal(signal);
        }
        CSignals::Stop();
    }
    const int toolStatus = RunCommand(tool.command, run.signals,
                                      {.descriptors = run.descriptors,
                                       .onReadable = [&](pid_t) { run.onReadable(); },
                                       .passOn = passOn,
                                       .hasOwnSession = true,
                                       .isSilent = tool.isolates});
    EndChildren();
    supervisor.TakeReports();
    if (supervisor.Status()) {
        return supervisor.Status();
    }
    if (run.signals.EndRequest() != 0) {
        const bool wasKilled = supervisor.HasStarted() && toolStatus == StatusOfSignal(SIGKILL);
        return wasKilled ? toolStatus : StatusOfSignal(run.signals.EndRequest());
    }
    if (supervisor.HasStarted()) {
        throw std::runtime_error("the program ran, but its exit status is lost: something ended its parent");
    }
    return std::nullopt;
}
} // namespace

int RunInSandbox(const Sandbox_T& sandbox, const std::vector<std::string>& program, const CSignals& signals,
                 const std::vector<int>& descriptors, const std::function<void()>& onReadable)
{
    Sandbox_T whole = sandbox;
    // Neither tool passes signals on, and not each gives the exit status of a program that a signal ended. So
    // the parent of the program is one of the simulator's.
    const fs::path file = HelperFile(c_SupervisorFile);
    Binding_T supervisor{file, file};
    if (std::ranges::any_of(sandbox.bindings, [&](const Binding_T& place) { // each mount takes time
            return LiesBelow(file, place.inside);
        })) {
        supervisor.inside = sandbox.inside / c_Supervisor;
        whole.bindings.push_back(supervisor);
    }
    const Run_T run{supervisor, program, signals, descriptors, onReadable};
    std::optional<int> status;
    std::string tool = "bwrap";
    ::prctl(PR_SET_CHILD_SUBREAPER, 1); // a killed proot leaves processes
    const bool hasBubblewrap = IsInstalled(u"bwrap"_s);
    if (hasBubblewrap) {
        status = RunWithTool({BubblewrapCommand(whole), true}, whole, run);
    }
    if (!status && (!hasBubblewrap || !BubblewrapWorks())) {
        PermitProot(whole);
        tool = "proot";
        status = RunWithTool({ProotCommand(whole), false}, whole, run);
    }
    if (!status) {
        throw std::runtime_error("the program could not be run in the unit's file system (its tool is " +
                                 tool + ")");
    }
    return *status;
}
