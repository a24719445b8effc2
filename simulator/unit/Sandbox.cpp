#include "simulator/unit/Sandbox.h"

#include <QProcess>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{
namespace fs = std::filesystem;
using Command_T = std::vector<std::string>;

constexpr char c_RootDirectory[] = "root";
constexpr char c_Supervisor[] = "supervisor";
constexpr char c_SupervisorFile[] = "sonarbench-sim-supervisor";
constexpr char c_IdFile[] = "supervisor-id";
constexpr char c_StatusFile[] = "status";

bool IsInstalled(const QString& tool) { return !QStandardPaths::findExecutable(tool).isEmpty(); }

/// On machines that refuse namespaces, bubblewrap can be installed but fails.
bool BubblewrapWorks()
{
    if (!IsInstalled(u"bwrap"_s)) {
        return false;
    }
    QProcess trial;
    trial.start(u"bwrap"_s, {u"--bind"_s, u"/"_s, u"/"_s, u"true"_s});
    return trial.waitForFinished() && trial.exitStatus() == QProcess::NormalExit && trial.exitCode() == 0;
}

struct RootEntry_T {
    fs::path path;
    fs::path target; ///< of a link; otherwise empty
};

/// The entries of this machine's root directory that no binding replaces. The sandbox's root is made of them,
/// because directories such as /corvane cannot be made in the real one.
std::vector<RootEntry_T> RootEntries(const Sandbox_T& sandbox)
{
    std::vector<RootEntry_T> entries;
    // Not "/", because an emulator shows another one to programs.
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/root")) {
        const fs::path path = "/" / entry.path().filename();
        const auto replaces = [&](const Binding_T& binding) { return binding.inside == path; };
        if (std::ranges::none_of(sandbox.bindings, replaces)) {
            entries.push_back({path, entry.is_symlink() ? fs::read_symlink(entry.path()) : ""});
        }
    }
    return entries;
}

void Append(Command_T& command, const Command_T& words)
{
    command.insert(command.end(), words.begin(), words.end());
}

Command_T BubblewrapCommand(const Sandbox_T& sandbox)
{
    Command_T command = {"bwrap", "--die-with-parent"};
    for (const RootEntry_T& entry : RootEntries(sandbox)) {
        if (entry.target.empty()) {
            Append(command, {"--bind-try", entry.path, entry.path});
        } else {
            Append(command, {"--symlink", entry.target, entry.path});
        }
    }
    for (const Binding_T& binding : sandbox.bindings) {
        Append(command, {binding.isDevice ? "--dev-bind-try" : "--bind-try", binding.host, binding.inside});
    }
    Append(command, {"--chdir", sandbox.workingDirectory, "--"});
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
    fs::create_directory(root);
    for (const RootEntry_T& entry : RootEntries(sandbox)) {
        if (entry.target.empty()) {
            bind(entry.path, entry.path);
        } else {
            fs::create_symlink(entry.target, root / entry.path.filename());
        }
    }
    for (const Binding_T& binding : sandbox.bindings) {
        bind(binding.host, binding.inside);
    }
    Append(command, {"-w", sandbox.workingDirectory});
    return command;
}

Command_T ToolCommand(const Sandbox_T& sandbox)
{
    if (BubblewrapWorks()) {
        return BubblewrapCommand(sandbox);
    }
    if (IsInstalled(u"proot"_s)) {
        return ProotCommand(sandbox);
    }
    throw std::runtime_error(
        "neither bwrap (with namespaces) nor proot can be used here; install bubblewrap or "
        "proot");
}

/// Whether a process runs or sleeps. It can also be stopped, held by its tracer, or have ended.
bool IsActive(int id)
{
    std::ifstream file("/proc/" + std::to_string(id) + "/stat");
    std::string text;
    std::getline(file, text);
    return std::ranges::any_of(std::array{") R ", ") S ", ") D "},
                               [&text](const char* state) { return text.find(state) != text.npos; });
}

/// The number that a file begins with, -1 when there is none.
int NumberIn(const fs::path& file)
{
    int number = -1;
    std::ifstream(file) >> number;
    return number;
}
} // namespace

int RunInSandbox(const Sandbox_T& sandbox, const std::vector<std::string>& program, const CSignals& signals,
                 const std::vector<int>& descriptors, const std::function<void()>& onReadable)
{
    Sandbox_T whole = sandbox;
    // Neither tool passes signals on, and not each gives the exit status of a program that a signal ended. So
    // the parent of the program is one of the simulator's.
    const fs::path supervisor = sandbox.inside / c_Supervisor;
    whole.bindings.insert(whole.bindings.begin(), {sandbox.directory, sandbox.inside});
    whole.bindings.push_back({Companion(c_SupervisorFile), supervisor});
    Command_T command = ToolCommand(whole);
    Append(command, EmulatorOf(whole.bindings.back().host));
    Append(command, {supervisor, sandbox.inside / c_IdFile, sandbox.inside / c_StatusFile});
    // Set inside, so that the tool itself runs without the preloaded library.
    command.emplace_back("env");
    for (const std::string& name : sandbox.unsetEnvironment) {
        Append(command, {"-u", name});
    }
    for (const auto& [name, value] : sandbox.environment) {
        command.push_back(std::string(name).append("=").append(value));
    }
    Append(command, program);

    const auto passOn = [&](int signal, pid_t tool) {
        // There is no id while the sandbox is being made.
        const int id = NumberIn(sandbox.directory / c_IdFile);
        if (id <= 0 || signal != SIGTSTP) {
            return id > 0 && ::kill(id, signal) == 0;
        }
        ::kill(tool, SIGSTOP); // first, because proot continues what it traces
        ::kill(id, signal);
        return !IsActive(id);
    };
    for (int signal = signals.TakeRequest(); signal != 0; signal = signals.TakeRequest()) {
        if (signal != SIGTSTP) {
            return StatusOfSignal(signal);
        }
        CSignals::Stop();
    }
    RunCommand(command, signals, {descriptors, onReadable, passOn});
    const int status = NumberIn(sandbox.directory / c_StatusFile);
    if (status < 0) {
        throw std::runtime_error(
            NumberIn(sandbox.directory / c_IdFile) < 0
                ? "the program could not be run in the unit's file system (its tool is " + command[0] + ")"
                : "the program ran, but its exit status is lost: something ended its parent, or no file can "
                  "be "
                  "written in " +
                      sandbox.directory.parent_path().string());
    }
    return status;
}
