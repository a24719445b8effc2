#include "simulator/unit/UnitSandbox.h"

#include "simulator/unit/UnitPlaces.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace
{
namespace fs = std::filesystem;

/// Where the program sees the simulator's files, and its own.
constexpr char c_UnitDirectory[] = "/unit";
constexpr char c_ProgramDirectory[] = "/unit/bin";
constexpr char c_CallLibrary[] = "/unit/call-library.so";
constexpr char c_ProgramName[] = "sonarbench";

/// Nodes of this machine that a unit has too.
constexpr std::array<const char*, 6> c_PlainDevices = {"/dev/null",   "/dev/zero",    "/dev/full",
                                                       "/dev/random", "/dev/urandom", "/dev/tty"};

/// Directories of this machine that are empty for the program: what users keep there is not for it, and
/// services listen in /run.
constexpr std::array<const char*, 4> c_Hidden = {"/root", "/home", "/run", "/var/tmp"};

/// How the names of the variables begin that the program sets for its FPGA layer. A unit starts without them.
constexpr std::array<std::string_view, 7> c_UnitVariables = {
    "PRODUCT_ID",    "FPGA_CHANNEL_",    "QL3B_FPGA_SIZE",    "SONAR_BOARD_ID",
    "PLATFORM_TYPE", "SOUNDER_ROOT_DIR", "KILL_MON_QLSOUNDER"};

std::vector<std::string> UnitVariablesSet()
{
    std::vector<std::string> names;
    for (char** pVariable = environ; *pVariable != nullptr; ++pVariable) {
        const std::string_view variable = *pVariable;
        const std::string_view name = variable.substr(0, variable.find('='));
        for (const std::string_view beginning : c_UnitVariables) {
            if (name.starts_with(beginning)) {
                names.emplace_back(name);
            }
        }
    }
    return names;
}

std::string Variable(const char* name)
{
    const char* const pValue = std::getenv(name);
    return pValue != nullptr ? pValue : "";
}

/// The hidden directories, by the names that they have on this machine.
std::vector<fs::path> HiddenDirectories()
{
    std::vector<fs::path> directories;
    for (const char* name : c_Hidden) {
        std::error_code isMissing;
        if (const fs::path directory = fs::canonical(name, isMissing);
            fs::is_directory(directory, isMissing)) {
            directories.push_back(directory);
        }
    }
    return directories;
}

/// What the run needs of the hidden directories and of this machine's temporary files: the working directory
/// and files that arguments name.
std::vector<Binding_T> NeededFiles(const Options_T& options, const fs::path& workingDirectory,
                                   const std::vector<fs::path>& hidden)
{
    std::vector<Binding_T> bindings;
    const auto need = [&](const fs::path& path) {
        const bool isHidden =
            std::ranges::any_of(c_TemporaryPlaces,
                                [&](const char* place) { return LiesBelow(path, place); }) ||
            std::ranges::any_of(
                hidden, [&](const fs::path& place) { return path == place || LiesBelow(path, place); });
        const bool isBound = std::ranges::any_of(bindings, [&](const Binding_T& binding) {
            return path == binding.inside || LiesBelow(path, binding.inside);
        });
        std::error_code isUnusable; // for a word that is not a path
        if (isHidden && !isBound && fs::exists(path, isUnusable)) {
            bindings.push_back({path, path});
        }
    };
    need(workingDirectory);
    std::vector<std::string> words = options.arguments;
    std::ranges::copy(EmulatorOf(options.program), std::back_inserter(words));
    for (const std::string& word : words) {
        const fs::path path = (workingDirectory / word).lexically_normal();
        std::error_code isMissing;
        need(path);
        need(fs::canonical(path, isMissing)); // the target of a link elsewhere
    }
    return bindings;
}

/// Throws when there is no working directory, or the unit has other files in its place.
fs::path WorkingDirectory(const UnitTrees_T& trees)
{
    std::error_code error;
    fs::path directory = fs::current_path(error);
    if (error) {
        throw std::system_error(error, "cannot find the working directory");
    }
    if (IsUnitsOwn(directory) && !fs::is_directory(trees.Place(directory), error)) {
        throw std::runtime_error("the unit has no directory " + directory.string() +
                                 ", which is the working directory");
    }
    return directory;
}

/// Loads the library that counts the program's calls, before the one for the unit's nodes.
void CountCalls(const CCallFaults& calls, const UnitTrees_T& trees, Sandbox_T& sandbox)
{
    constexpr std::string_view c_Preload = "LD_PRELOAD";
    sandbox.bindings.push_back({calls.Library(), c_CallLibrary});
    for (auto& [name, value] : sandbox.environment) {
        value.insert(0, name == c_Preload ? std::string(c_CallLibrary) + ":" : "");
    }
    const fs::path recorded = fs::path(c_RecordedFiles).parent_path();
    sandbox.bindings.push_back({trees.directory / recorded.filename(), recorded});
    for (const auto& variable : CCallFaults::Environment(c_UnitDirectory)) {
        const fs::path file = variable.second;
        sandbox.bindings.push_back({trees.directory / file.filename(), file, Access_T::Write});
        sandbox.environment.push_back(variable);
    }
}
} // namespace

Sandbox_T MakeSandbox(const Options_T& options, const UnitTrees_T& trees, const CDeviceHost& host,
                      const std::vector<UnitDevice_T>& devices, const CCallFaults* pCalls)
{
    Sandbox_T sandbox;
    sandbox.directory = trees.directory;
    sandbox.inside = c_UnitDirectory;
    sandbox.workingDirectory = WorkingDirectory(trees);
    sandbox.mayBeOpen = options.isOwnProgram || options.mayBeOpen || ::geteuid() != 0;
    auto& bindings = sandbox.bindings;
    const std::vector<fs::path> hidden = HiddenDirectories();
    for (const fs::path& directory : hidden) {
        bindings.push_back({{}, directory, Access_T::Empty});
    }
    for (const char* place : {"/corvane", "/VERSION", "/sys", c_Temporary, "/dev"}) {
        bindings.push_back({trees.Place(place), place, Access_T::Write});
    }
    for (const char* node : c_PlainDevices) {
        bindings.push_back({node, node, Access_T::Device});
    }
    for (const UnitDevice_T& device : devices) {
        const fs::path terminal = fs::canonical(host.Root() / "dev" / device.node);
        bindings.push_back({terminal, terminal, Access_T::Device});
    }
    std::ranges::copy(NeededFiles(options, sandbox.workingDirectory, hidden), std::back_inserter(bindings));
    for (const fs::path& directory : options.writable) {
        bindings.push_back({directory, directory, Access_T::Write});
    }
    bindings.push_back({host.Root(), fs::path(c_UnitDirectory) / host.Root().filename(), Access_T::Write});
    bindings.push_back({fs::absolute(options.program), fs::path(c_ProgramDirectory) / c_ProgramName});
    sandbox.unsetEnvironment = UnitVariablesSet();
    sandbox.environment = host.Environment(c_UnitDirectory);
    sandbox.environment.emplace_back("PATH", std::string(c_ProgramDirectory) + ":" + Variable("PATH"));
    // Otherwise a sanitized program requires its own library to be loaded first.
    sandbox.environment.emplace_back("ASAN_OPTIONS", "verify_asan_link_order=0:" + Variable("ASAN_OPTIONS"));
    if (pCalls != nullptr) {
        CountCalls(*pCalls, trees, sandbox);
    }
    return sandbox;
}

std::vector<std::string> ProgramCommand(const Options_T& options)
{
    if (options.isShell) {
        return options.arguments;
    }
    std::vector<std::string> command = EmulatorOf(options.program);
    if (command.empty()) {
        command.emplace_back(c_ProgramName);
    } else { // an emulator does not search PATH, and has an option for the name
        command.insert(command.end(), {"-0", c_ProgramName, fs::path(c_ProgramDirectory) / c_ProgramName});
    }
    command.insert(command.end(), options.arguments.begin(), options.arguments.end());
    return command;
}
