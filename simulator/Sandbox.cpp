#include "simulator/Sandbox.h"

#include <QProcess>
#include <QStandardPaths>

#include <algorithm>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{
namespace fs = std::filesystem;
using Command_T = std::vector<std::string>;

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

/// Whether a place of this machine's root directory is replaced by one of the bindings.
bool IsReplaced(const fs::path& place, const Sandbox_T& sandbox)
{
    return std::ranges::any_of(sandbox.bindings,
                               [&](const Binding_T& binding) { return binding.inside == place; });
}

Command_T BubblewrapCommand(const Sandbox_T& sandbox)
{
    Command_T command = {"bwrap", "--die-with-parent"};
    const auto add = [&](std::initializer_list<std::string> words) {
        command.insert(command.end(), words.begin(), words.end());
    };
    // A new root made of the real one's entries: directories such as /corvane cannot be made in the real one.
    for (const fs::directory_entry& entry : fs::directory_iterator("/")) {
        if (IsReplaced(entry.path(), sandbox)) {
            continue;
        }
        if (entry.is_symlink()) {
            add({"--symlink", fs::read_symlink(entry.path()), entry.path()});
        } else {
            add({"--bind-try", entry.path(), entry.path()});
        }
    }
    for (const Binding_T& binding : sandbox.bindings) {
        add({binding.isDevice ? "--dev-bind-try" : "--bind-try", binding.host, binding.inside});
    }
    add({"--chdir", sandbox.workingDirectory, "--"});
    return command;
}

Command_T ProotCommand(const Sandbox_T& sandbox)
{
    Command_T command = {"proot"};
    for (const Binding_T& binding : sandbox.bindings) {
        if (fs::exists(binding.host)) {
            command.insert(command.end(), {"-b", binding.host.string() + ":" + binding.inside.string()});
        }
    }
    command.insert(command.end(), {"-w", sandbox.workingDirectory});
    return command;
}
} // namespace

std::vector<std::string> SandboxCommand(const Sandbox_T& sandbox, const std::vector<std::string>& program)
{
    Command_T command;
    std::vector<std::pair<std::string, std::string>> environment = sandbox.environment;
    if (BubblewrapWorks()) {
        command = BubblewrapCommand(sandbox);
    } else if (IsInstalled(u"proot"_s)) {
        command = ProotCommand(sandbox);
        // proot traces the program, and a leak checker cannot trace it as well.
        environment.emplace_back("LSAN_OPTIONS", "detect_leaks=0");
    } else {
        throw std::runtime_error(
            "neither bwrap (with namespaces) nor proot can be used here; install bubblewrap "
            "or proot");
    }
    // Set inside, so that the sandbox's own tool runs without the preloaded library.
    command.emplace_back("env");
    for (const std::string& name : sandbox.unsetEnvironment) {
        command.insert(command.end(), {"-u", name});
    }
    for (const auto& [name, value] : environment) {
        command.push_back(name + "=" + value);
    }
    command.insert(command.end(), program.begin(), program.end());
    return command;
}
