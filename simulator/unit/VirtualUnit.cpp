#include "simulator/unit/VirtualUnit.h"

#include "simulator/faults/CallFaults.h"
#include "simulator/trace/Replay.h"
#include "simulator/trace/TraceWriter.h"
#include "simulator/unit/DeviceHost.h"
#include "simulator/unit/ProgramRun.h"
#include "simulator/unit/RunGuard.h"
#include "simulator/unit/RunReport.h"
#include "simulator/unit/Sandbox.h"
#include "simulator/unit/UnitDevices.h"
#include "simulator/unit/UnitFiles.h"
#include "simulator/unit/UnitSandbox.h"
#include "tools/BoundedFile.h"
#include "tools/Program.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace
{
namespace fs = std::filesystem;

/// Of a refusal that comes out of a replayed trace, in characters.
constexpr std::size_t c_LongestComplaint = 400;

[[noreturn]] void Refuse(const std::string& what, int error)
{
    throw std::system_error(error, std::generic_category(), what);
}

/// Refuses a run for which too little is left: the mock library would abort, with the unit's directory left.
void CheckResources()
{
    constexpr std::size_t c_Terminals = 4;
    constexpr std::size_t c_Descriptors = 64;
    constexpr std::size_t c_AddressSpace = std::size_t{128} << 20;
    if (::access("/proc/self/exe", F_OK) != 0) {
        Refuse("a run needs /proc", errno);
    }
    std::vector<CDescriptor> taken;
    while (taken.size() < c_Terminals) {
        taken.emplace_back(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
        if (taken.back().Get() < 0) {
            Refuse("a run needs 4 pseudo-terminals", errno);
        }
    }
    while (taken.size() < c_Descriptors) {
        taken.emplace_back(::fcntl(taken.front().Get(), F_DUPFD_CLOEXEC, 0));
        if (taken.back().Get() < 0) {
            Refuse("a run needs 64 file descriptors", errno);
        }
    }
    void* const space =
        // cppcheck-suppress invalidFunctionArg ; -1 is right for memory without a file
        ::mmap(nullptr, c_AddressSpace, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (space == MAP_FAILED) {
        Refuse("a run needs 128 MiB of address space", errno);
    }
    ::munmap(space, c_AddressSpace);
}

void CheckProgram(const fs::path& program)
{
    const std::string what = "cannot run " + program.string();
    if (::access(program.c_str(), X_OK) != 0) {
        Refuse(what, errno);
    }
    if (fs::is_directory(program)) {
        Refuse(what, EISDIR);
    }
}

/// Makes the directory for the unit's files.
void MakeKeepDirectory(const fs::path& directory)
{
    std::error_code error;
    if (!directory.empty() && !fs::create_directories(directory, error)) {
        Refuse("cannot make the directory " + directory.string(), error ? error.value() : EEXIST);
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

/// A file that the user asked for; none when its path is empty. An existing file keeps its contents until
/// Begin(). A new one is removed unless Finish() is called. Errors name the file.
class CRequestedFile
{
public:
    CRequestedFile(const char* what, fs::path path)
        : m_What(std::string("cannot write the ") + what + " " + path.string()), m_Path(std::move(path))
    {
        std::error_code ignored;
        m_IsNew = IsWanted() && !fs::exists(fs::symlink_status(m_Path, ignored));
        if (fs::is_fifo(m_Path, ignored)) {
            OpenPipe();
        }
        if (!m_File.is_open()) {
            m_File.open(IsWanted() ? m_Path : "/dev/null", std::ios::binary | std::ios::app);
        }
        Check();
    }
    CRequestedFile(const CRequestedFile&) = delete;
    CRequestedFile& operator=(const CRequestedFile&) = delete;
    ~CRequestedFile()
    {
        if (m_IsNew) {
            std::error_code ignored;
            fs::remove(m_Path, ignored);
        }
    }

    bool IsWanted() const { return !m_Path.empty(); }
    std::ostream& Stream() { return m_File; }
    void Begin()
    {
        if (fs::is_regular_file(m_Path)) {
            fs::resize_file(m_Path, 0);
        }
    }
    void Finish()
    {
        errno = EIO; // unless the system says why, now or when a write failed before
        m_File.flush();
        Check();
        m_IsNew = false;
    }

private:
    /// A stream would wait for a reader without an end.
    void OpenPipe()
    {
        try {
            const CDescriptor pipe = OpenPipeToWrite(m_Path);
            m_File.open(m_Path, std::ios::binary | std::ios::app);
        } catch (const std::system_error& error) {
            const bool isUnread = error.code().value() == ENXIO;
            throw std::runtime_error(m_What + ": " +
                                     (isUnread ? "nobody reads the pipe" : error.code().message()));
        }
    }
    void Check() const
    {
        if (!m_File) {
            Refuse(m_What, errno);
        }
    }

    std::string m_What;
    fs::path m_Path;
    bool m_IsNew = false;
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

/// The interval of the last ping's samples in seconds; 0 when there was none.
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
    CheckResources();
    CheckProgram(options.program);
    // While signals still end the process, because a pipe can keep this waiting.
    const Scene_T scene = options.scene.empty() ? Scene_T{} : ReadScene(options.scene);
    const CSignals signals;
    CFaultPlan faults(options.faults);
    const CUnitDirectory directory;
    std::optional<CCallFaults> calls;
    const std::vector<TraceAccess_T> files =
        options.replay ? options.replay->files : std::vector<TraceAccess_T>();
    if (!options.calls.empty() || !faults.OfCalls().empty() || !files.empty()) {
        calls.emplace(directory.Path(), faults, files);
    }
    UnitRun_T run{};
    std::optional<CRequestedFile> traceFile, truthFile, countsFile,
        reportFile; // the host uses the trace until it is gone
    std::optional<CTraceWriter> trace;
    std::optional<CReplay> replay;
    if (options.replay) {
        replay.emplace(*options.replay);
    }
    std::vector<UnitDevice_T> devices;
    CDeviceHost host(directory.Path(), [&](const DeviceOperation_T& operation) {
        if (trace) {
            trace->Write(operation);
        }
        // A refusal that a planned fault explains is not a failure of the run.
        if (!operation.outcome.faulted) {
            for (const std::string& refusal : operation.outcome.refusals) {
                run.complaints.push_back("the device refused: " + Excerpt(refusal, c_LongestComplaint));
            }
        }
    });
    const UnitTrees_T trees{directory.Path(), host.Root() / "sys"};
    const CRunGuard guard(signals, [&directory] { directory.Remove(); });
    WriteUnitFiles(trees, options);
    const Product_T& product = *options.product;
    devices = MakeUnitDevices(product,
                              {.product = product.name,
                               .scene = scene,
                               .isPowered = SonarPowerOf(trees, product),
                               .firmwareVersion = options.firmwareVersion,
                               .needsReset = product.firmware.resetsFirst,
                               .truth =
                                   [&](const EchoTruth_T& truth) {
                                       if (truthFile) {
                                           truthFile->Stream() << TruthLine(truth);
                                       }
                                   }},
                              faults);
    for (UnitDevice_T& device : devices) {
        if (replay) {
            device.front = std::make_unique<CReplayDevice>(*replay, device.node, *device.device);
        }
        host.AddDevice(device.node, *device.front);
    }
    const Sandbox_T sandbox = MakeSandbox(options, trees, host, devices, calls ? &*calls : nullptr);

    // Everything that can be wrong in the user's options has been checked, so files can be overwritten now.
    traceFile.emplace("trace", options.trace);
    truthFile.emplace("truth", options.truth);
    countsFile.emplace("counts", options.calls);
    reportFile.emplace("report", options.report); // which the station's program replaces
    MakeKeepDirectory(options.keep);
    traceFile->Begin();
    truthFile->Begin();
    countsFile->Begin();
    if (traceFile->IsWanted()) {
        trace.emplace(traceFile->Stream(), product.name, faults.OfCalls());
    }
    std::optional<CTranscript> transcript;
    if (reportFile->IsWanted()) {
        transcript.emplace(directory.Path() / product.name);
    }
    run.exitStatus = RunAndKeep(sandbox, ProgramCommand(options), signals, host, transcript);
    host.Finish();
    for (const UnitDevice_T& device : devices) {
        if (!fs::is_symlink(host.Root() / "dev" / device.node)) {
            run.complaints.push_back("the program removed the unit's node /dev/" + device.node);
        }
    }
    std::ranges::copy(faults.Untriggered(), std::back_inserter(run.complaints));
    if (const std::string difference = replay ? replay->Finish() : ""; !difference.empty()) {
        run.complaints.push_back("the program departs from the trace: " + difference);
    }
    for (const std::string& lack : calls ? calls->Lacks() : std::vector<std::string>()) {
        run.complaints.push_back("the trace lacks what the program asks for: " +
                                 Excerpt(lack, c_LongestComplaint));
    }
    if (!options.keep.empty()) {
        KeepFiles(trees, options.keep);
    }
    traceFile->Finish();
    truthFile->Finish();
    if (countsFile->IsWanted()) {
        countsFile->Stream() << faults.Counts();
    }
    countsFile->Finish();
    if (transcript) {
        WriteRunReport(options.report, *transcript, SampleInterval(devices), signals);
    }
    reportFile->Finish();
    run.isTimeUp = guard.IsTimeUp();
    return run;
}
