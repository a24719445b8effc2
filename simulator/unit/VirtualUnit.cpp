#include "simulator/unit/VirtualUnit.h"

#include "simulator/faults/CallFaults.h"
#include "simulator/trace/Replay.h"
#include "simulator/trace/TraceWriter.h"
#include "simulator/unit/DeviceHost.h"
#include "simulator/unit/ProgramRun.h"
#include "simulator/unit/RunReport.h"
#include "simulator/unit/Sandbox.h"
#include "simulator/unit/UnitDevices.h"
#include "simulator/unit/UnitFiles.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace
{
namespace fs = std::filesystem;

/// Where the program sees the unit's directory, and its own file.
constexpr char c_UnitDirectory[] = "/unit";
constexpr char c_ProgramDirectory[] = "/unit/bin";
constexpr char c_CallLibrary[] = "/unit/call-library.so";
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
        const bool isBound = std::ranges::any_of(bindings, [&](const Binding_T& binding) {
            return path == binding.inside || LiesBelow(path, binding.inside);
        });
        std::error_code isUnusable; // as a path, so that the program may say what it makes of the word
        if (LiesBelow(path, "/tmp") && !isBound && fs::exists(path, isUnusable)) {
            bindings.push_back({path, path});
        }
    };
    need(workingDirectory);
    need(fs::absolute(options.program).lexically_normal().parent_path());
    for (const std::string& argument : options.arguments) {
        const fs::path path = (workingDirectory / argument).lexically_normal();
        std::error_code isMissing;
        need(path);
        need(fs::canonical(path, isMissing)); // what a link elsewhere points to
    }
    return bindings;
}

/// Loads the library that counts the program's calls, in front of what serves the unit's nodes.
void CountCalls(const CCallFaults& calls, Sandbox_T& sandbox)
{
    constexpr std::string_view c_Preload = "LD_PRELOAD";
    sandbox.bindings.push_back({calls.Library(), c_CallLibrary});
    for (auto& [name, value] : sandbox.environment) {
        value.insert(0, name == c_Preload ? std::string(c_CallLibrary) + ":" : "");
    }
    for (const auto& variable : CCallFaults::Environment(c_UnitDirectory)) {
        sandbox.environment.push_back(variable);
    }
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

/// Makes the directory for the unit's files, before anything is run or overwritten for their sake.
void MakeKeepDirectory(const fs::path& directory)
{
    if (!directory.empty() && !fs::create_directories(directory)) {
        throw std::runtime_error(directory.string() +
                                 " exists already; the unit's files go to a new directory");
    }
}

/// Copies a file, a link or a directory; sockets, pipes and devices are left out.
void CopyTree(const fs::path& from, const fs::path& to)
{
    const fs::file_status status = fs::symlink_status(from);
    if (fs::is_directory(status)) {
        fs::create_directories(to);
        for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
            CopyTree(entry.path(), to / entry.path().filename());
        }
    } else if (fs::is_regular_file(status) || fs::is_symlink(status)) {
        fs::copy(from, to, fs::copy_options::copy_symlinks);
    }
}

void KeepFiles(const UnitTrees_T& trees, const fs::path& target)
{
    for (const char* place : {"/sys", "/corvane", "/VERSION", "/tmp"}) {
        CopyTree(trees.Place(place), target / fs::path(place).relative_path());
    }
}

/// A file that the caller gets; none when its path is empty. Errors are thrown with what the file is.
class CResult
{
public:
    CResult(const char* what, fs::path path) : m_What(what), m_Path(std::move(path))
    {
        if (IsWanted()) {
            m_File.open(m_Path, std::ios::binary | std::ios::trunc);
            Finish();
        }
    }

    bool IsWanted() const { return !m_Path.empty(); }
    std::ostream& Stream() { return m_File; }
    void Finish()
    {
        if (IsWanted() && !m_File.flush()) {
            throw std::runtime_error(std::string("cannot write the ") + m_What + " " + m_Path.string());
        }
    }

private:
    const char* m_What;
    fs::path m_Path;
    std::ofstream m_File;
};

/// Runs the program in the sandbox, and keeps what it prints when there is a transcript; returns its exit
/// status.
int RunAndKeep(const Sandbox_T& sandbox, const std::vector<std::string>& program, const CSignals& signals,
               CDeviceHost& host, std::optional<CTranscript>& transcript)
{
    std::vector<int> descriptors = host.Descriptors();
    if (transcript) {
        std::ranges::copy(transcript->Descriptors(), std::back_inserter(descriptors));
    }
    const int exitStatus = RunInSandbox(sandbox, program, signals, descriptors, [&] {
        host.Drain();
        if (transcript) {
            transcript->Drain();
        }
    });
    if (transcript) {
        transcript->Finish();
    }
    return exitStatus;
}

/// Of the last ping, in seconds; 0 when there was none.
double SampleInterval(const std::vector<UnitDevice_T>& devices)
{
    double interval = 0;
    for (const UnitDevice_T& device : devices) {
        interval = std::max(interval, device.device->SampleInterval());
    }
    return interval;
}
} // namespace

UnitRun_T RunOnVirtualUnit(const Options_T& options)
{
    const CSignals signals;
    CheckProgram(options.program);
    const Scene_T scene = options.scene.empty() ? Scene_T{} : ReadScene(options.scene);
    CFaultPlan faults(options.faults);
    MakeKeepDirectory(options.keep);
    CResult traceFile("trace", options.trace);
    CResult countsFile("counts", options.calls);
    const CResult reportFile("report", options.report); // filled at the end, but fails now if it cannot be
    std::optional<CTraceWriter> trace;
    if (traceFile.IsWanted()) {
        trace.emplace(traceFile.Stream(), options.product->name, faults.OfCalls());
    }

    const CUnitDirectory directory;
    std::optional<CCallFaults> calls;
    if (countsFile.IsWanted() || !faults.OfCalls().empty()) {
        calls.emplace(directory.Path(), faults);
    }
    UnitRun_T run{};
    std::optional<CReplay> replay;
    if (options.replay) {
        replay.emplace(*options.replay);
    }
    std::vector<UnitDevice_T> devices;
    CDeviceHost host(directory.Path(), [&](const DeviceOperation_T& operation) {
        if (trace) {
            trace->Write(operation);
        }
        // What a planned fault led to is no failure of the run.
        if (const auto& refusals = operation.outcome.refusals; !operation.outcome.faulted) {
            run.refusals.insert(run.refusals.end(), refusals.begin(), refusals.end());
        }
    });
    const UnitTrees_T trees{directory.Path(), host.Root() / "sys"};
    WriteUnitFiles(trees, options);
    const Product_T& product = *options.product;
    devices = MakeUnitDevices(product,
                              {.product = product.name,
                               .scene = scene,
                               .isPowered = SonarPowerOf(trees, product),
                               .firmwareVersion = options.firmwareVersion,
                               .needsReset = product.firmware.resetsFirst},
                              faults);
    for (UnitDevice_T& device : devices) {
        if (replay) {
            device.front = std::make_unique<CReplayDevice>(*replay, device.node, *device.device);
        }
        host.AddDevice(device.node, *device.front);
    }

    std::vector<std::string> program = EmulatorOf(options.program);
    if (program.empty()) {
        program.emplace_back(c_ProgramName);
    } else { // an emulator does not search the PATH, and has an option for the name
        program.insert(program.end(), {"-0", c_ProgramName, fs::path(c_ProgramDirectory) / c_ProgramName});
    }
    program.insert(program.end(), options.arguments.begin(), options.arguments.end());
    Sandbox_T sandbox = MakeSandbox(options, trees, host);
    if (calls) {
        CountCalls(*calls, sandbox);
    }
    std::optional<CTranscript> transcript;
    if (!options.report.empty()) {
        transcript.emplace(directory.Path() / product.name);
    }
    run.exitStatus = RunAndKeep(sandbox, program, signals, host, transcript);
    host.Finish();
    run.unstruckFaults = faults.Unstruck();
    run.difference = replay ? replay->Finish() : "";
    if (!options.keep.empty()) {
        KeepFiles(trees, options.keep);
    }
    traceFile.Finish();
    if (countsFile.IsWanted()) {
        countsFile.Stream() << faults.Counts();
    }
    countsFile.Finish();
    if (transcript) {
        WriteRunReport(options.report, *transcript, SampleInterval(devices), signals);
    }
    return run;
}
