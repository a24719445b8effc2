#include "simulator/Sandbox.h"

#include <QProcess>
#include <QStandardPaths>

#include <algorithm>
#include <fstream>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{
namespace fs = std::filesystem;
using Command_T = std::vector<std::string>;

constexpr char c_RootDirectory[] = "root";
constexpr char c_StatusFile[] = "status";
constexpr char c_Supervisor[] = "supervisor";

bool IsInstalled(const QString& tool) { return !QStandardPaths::findExecutable(tool).isEmpty(); }

/// Where namespaces are refused, bubblewrap is installed and fails.
bool BubblewrapWorks()
{
    if (!IsInstalled(u"bwrap"_s)) {
        return false;
    }
    QProcess trial;
    trial.start(u"bwrap"_s, {u"--bind"_s, u"/"_s, u"/"_s, u"true"_s});
    return trial.waitForFinished() && trial.exitStatus() == QProcess::NormalExit && trial.exitCode() == 0;
}

/// The entries of this machine's root directory that no binding replaces. The sandbox has a root of its own
/// made of them, because directories such as /corvane cannot, or should not, be made in the real one.
std::vector<fs::directory_entry> RootEntries(const Sandbox_T& sandbox)
{
    std::vector<fs::directory_entry> entries;
    for (const fs::directory_entry& entry : fs::directory_iterator("/")) {
        const auto replaces = [&](const Binding_T& binding) { return binding.inside == entry.path(); };
        if (std::ranges::none_of(sandbox.bindings, replaces)) {
            entries.push_back(entry);
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
    for (const fs::directory_entry& entry : RootEntries(sandbox)) {
        if (entry.is_symlink()) {
            Append(command, {"--symlink", fs::read_symlink(entry.path()), entry.path()});
        } else {
            Append(command, {"--bind-try", entry.path(), entry.path()});
        }
    }
    Append(command, {"--bind", sandbox.directory, sandbox.inside});
    for (const Binding_T& binding : sandbox.bindings) {
        Append(command, {binding.isDevice ? "--dev-bind-try" : "--bind-try", binding.host, binding.inside});
    }
    Append(command, {"--chdir", sandbox.workingDirectory, "--"});
    return command;
}

/// The exit status that proot gives is not the program's when a signal ended that, so the simulator runs once
/// more inside, as the program's parent.
Command_T ProotCommand(const Sandbox_T& sandbox)
{
    const fs::path root = sandbox.directory / c_RootDirectory;
    // proot traces the program, and a leak checker cannot trace it as well.
    Command_T command = {"env", "LSAN_OPTIONS=detect_leaks=0", "proot", "-v", "-1", "-r", root};
    const auto bind = [&](const fs::path& host, const fs::path& inside) {
        if (fs::exists(host)) {
            Append(command, {"-b", host.string() + ":" + inside.string()});
        }
    };
    fs::create_directory(root);
    for (const fs::directory_entry& entry : RootEntries(sandbox)) {
        if (entry.is_symlink()) {
            fs::copy_symlink(entry.path(), root / entry.path().filename());
        } else {
            bind(entry.path(), entry.path());
        }
    }
    bind(sandbox.directory, sandbox.inside);
    for (const Binding_T& binding : sandbox.bindings) {
        bind(binding.host, binding.inside);
    }
    bind(fs::read_symlink("/proc/self/exe"), sandbox.inside / c_Supervisor);
    Append(command, {"-w", sandbox.workingDirectory, sandbox.inside / c_Supervisor, c_SuperviseArgument,
                     sandbox.inside / c_StatusFile});
    return command;
}
} // namespace

int RunInSandbox(const Sandbox_T& sandbox, const std::vector<std::string>& program, const CSignals& signals,
                 const std::vector<int>& descriptors, const std::function<void()>& onReadable)
{
    Command_T command;
    if (BubblewrapWorks()) {
        command = BubblewrapCommand(sandbox);
    } else if (IsInstalled(u"proot"_s)) {
        command = ProotCommand(sandbox);
    } else {
        throw std::runtime_error(
            "neither bwrap (with namespaces) nor proot can be used here; install bubblewrap "
            "or proot");
    }
    // Set inside, so that the sandbox's own tool runs without the preloaded library.
    command.emplace_back("env");
    for (const std::string& name : sandbox.unsetEnvironment) {
        Append(command, {"-u", name});
    }
    for (const auto& [name, value] : sandbox.environment) {
        command.push_back(std::string(name).append("=").append(value));
    }
    Append(command, program);
    int status = RunProgram(command, signals, descriptors, onReadable);
    std::ifstream(sandbox.directory / c_StatusFile) >> status;
    return status;
}

int RunSupervised(const fs::path& statusFile, const std::vector<std::string>& command)
{
    const CSignals signals;
    std::ofstream(statusFile) << RunProgram(command, signals, {}, [] {});
    return 0;
}
