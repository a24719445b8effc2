#include "simulator/VirtualUnit.h"

#include "simulator/DeviceHost.h"
#include "simulator/ProgramRun.h"
#include "simulator/Sandbox.h"
#include "simulator/Trace.h"
#include "simulator/UnitDevices.h"
#include "simulator/UnitFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <array>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
namespace fs = std::filesystem;

/// Where the program sees the unit's directory, and its own file.
constexpr char c_UnitDirectory[] = "/unit";
constexpr char c_ProgramDirectory[] = "/unit/bin";
constexpr char c_ProgramName[] = "sonarbench";

/// Nodes of this machine that a unit has too.
constexpr std::array<const char*, 7> c_PlainDevices = {
    "/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom", "/dev/tty", "/dev/pts"};

/// Beginnings of the variables that the program sets for its FPGA layer; a fresh unit has none of them.
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

bool LiesBelow(const fs::path& path, const fs::path& directory)
{
    const fs::path relative = path.lexically_relative(directory);
    return !relative.empty() && relative != "." && *relative.begin() != "..";
}

/// What the run needs of this machine's /tmp, which the unit's own hides.
std::vector<Binding_T> NeededTemporaryFiles(const Options_T& options, const fs::path& workingDirectory)
{
    std::vector<Binding_T> bindings;
    const auto need = [&](const fs::path& path) {
        if (LiesBelow(path, "/tmp") && fs::exists(path)) {
            bindings.push_back({path, path});
        }
    };
    need(workingDirectory);
    need(fs::absolute(options.program).lexically_normal().parent_path());
    for (const std::string& argument : options.arguments) {
        const fs::path path = (workingDirectory / argument).lexically_normal();
        if (!LiesBelow(path, workingDirectory)) {
            need(path);
        }
    }
    return bindings;
}

Sandbox_T MakeSandbox(const Options_T& options, const UnitTrees_T& trees, const CDeviceHost& host)
{
    Sandbox_T sandbox;
    sandbox.directory = trees.directory;
    sandbox.inside = c_UnitDirectory;
    sandbox.workingDirectory = fs::current_path();
    auto& bindings = sandbox.bindings;
    for (const char* place : {"/corvane", "/VERSION", "/tmp", "/dev"}) {
        bindings.push_back({trees.Place(place), place});
    }
    for (const char* node : c_PlainDevices) {
        bindings.push_back({node, node, true});
    }
    bindings.push_back({fs::absolute(options.program), fs::path(c_ProgramDirectory) / c_ProgramName});
    for (const Binding_T& binding : NeededTemporaryFiles(options, sandbox.workingDirectory)) {
        bindings.push_back(binding);
    }
    sandbox.unsetEnvironment = UnitVariablesSet();
    sandbox.environment = host.Environment(c_UnitDirectory);
    sandbox.environment.emplace_back("PATH", std::string(c_ProgramDirectory) + ":" + Variable("PATH"));
    // A sanitized program insists on being loaded before every other library otherwise.
    sandbox.environment.emplace_back("ASAN_OPTIONS", "verify_asan_link_order=0:" + Variable("ASAN_OPTIONS"));
    return sandbox;
}

void CheckProgram(const fs::path& program)
{
    if (::access(program.c_str(), X_OK) != 0 || fs::is_directory(program)) {
        throw std::runtime_error("there is no program " + program.string());
    }
}

void KeepFiles(const UnitTrees_T& trees, const fs::path& target)
{
    fs::create_directories(target);
    for (const char* place : {"/sys", "/corvane", "/VERSION", "/tmp"}) {
        if (const fs::path from = trees.Place(place); fs::exists(from)) {
            const auto options = fs::copy_options::recursive | fs::copy_options::copy_symlinks;
            fs::copy(from, target / fs::path(place).relative_path(), options);
        }
    }
}

std::optional<std::ofstream> OpenTrace(const fs::path& path)
{
    if (path.empty()) {
        return std::nullopt;
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) {
        throw std::runtime_error("cannot write the trace " + path.string());
    }
    return file;
}
} // namespace

UnitRun_T RunOnVirtualUnit(const Options_T& options)
{
    const CSignals signals;
    CheckProgram(options.program);
    if (!options.keep.empty() && fs::exists(options.keep)) {
        throw std::runtime_error(options.keep.string() +
                                 " exists already; the unit's files go to a new directory");
    }
    const Scene_T scene = options.scene.empty() ? Scene_T{} : ReadScene(options.scene);
    CFaultPlan faults(options.faults);
    std::optional<std::ofstream> traceFile = OpenTrace(options.trace);
    std::optional<CTraceWriter> trace;
    if (traceFile) {
        trace.emplace(*traceFile);
    }

    const QTemporaryDir directory(QDir::tempPath() + u"/sonarbench-sim-XXXXXX"_s);
    if (!directory.isValid()) {
        throw std::runtime_error("cannot make the unit's directory: " +
                                 directory.errorString().toStdString());
    }
    UnitRun_T run{};
    std::vector<UnitDevice_T> devices;
    CDeviceHost host(QFile::encodeName(directory.path()).toStdString(),
                     [&](const DeviceOperation_T& operation) {
                         if (trace) {
                             trace->Write(operation);
                         }
                         // What a planned fault led to is no failure of the run.
                         if (const auto& refusals = operation.outcome.refusals; !operation.outcome.faulted) {
                             run.refusals.insert(run.refusals.end(), refusals.begin(), refusals.end());
                         }
                     });
    const UnitTrees_T trees{QFile::encodeName(directory.path()).toStdString(), host.Root() / "sys"};
    WriteUnitFiles(trees, options);
    const Product_T& product = *options.product;
    devices =
        MakeUnitDevices({product, scene, options.firmwareVersion, SonarPowerOf(trees, product)}, faults);
    for (const UnitDevice_T& device : devices) {
        host.AddDevice(device.node, *device.faulty);
    }

    std::vector<std::string> program = {c_ProgramName};
    program.insert(program.end(), options.arguments.begin(), options.arguments.end());
    run.exitStatus = RunInSandbox(MakeSandbox(options, trees, host), program, signals, host.Descriptors(),
                                  [&] { host.Drain(); });
    host.Finish();
    if (!options.keep.empty()) {
        KeepFiles(trees, options.keep);
    }
    if (traceFile && !traceFile->flush()) {
        throw std::runtime_error("cannot write the trace " + options.trace.string());
    }
    return run;
}
