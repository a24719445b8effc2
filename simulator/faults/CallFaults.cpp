#include "simulator/faults/CallFaults.h"

#include "simulator/unit/ProgramRun.h"
#include "simulator/unit/UnitPlaces.h"

#include <algorithm>
#include <stdexcept>

namespace
{
namespace fs = std::filesystem;

constexpr char c_PlanFile[] = "call-plan";
constexpr char c_LogFile[] = "call-log";
constexpr char c_LibraryFile[] = "libsonarbench-sim-calls.so";

void Check(const std::ios& file, const fs::path& path)
{
    if (!file) {
        throw std::runtime_error("cannot use " + path.string());
    }
}
/// Writes the contents that a recorded program read, and the plan's lines about files.
void WriteRecorded(const fs::path& directory, const std::vector<TraceAccess_T>& files, std::ostream& plan)
{
    if (files.size() > c_MostRecordedFiles) {
        throw std::runtime_error("more than " + std::to_string(c_MostRecordedFiles) + " uses of files");
    }
    if (!files.empty()) {
        fs::create_directory(directory);
    }
    std::size_t number = 0;
    for (const TraceAccess_T& file : files) {
        const auto access = TraceWord::c_FileAccesses[static_cast<std::size_t>(file.access)];
        plan << c_PlannedFile << ' ' << number << ' ' << access << ' ' << file.error << ' ' << file.path
             << '\n';
        if (file.access == FileAccess::Read) {
            const fs::path place = directory / std::to_string(number);
            std::ofstream contents(place, std::ios::binary);
            contents.write(reinterpret_cast<const char*>(file.contents.data()), std::ssize(file.contents));
            Check(contents.flush(), place);
        }
        ++number;
    }
}
} // namespace

CCallFaults::CCallFaults(const fs::path& directory, CFaultPlan& faults,
                         const std::vector<TraceAccess_T>& files)
    : m_Library(HelperFile(c_LibraryFile)), m_Faults(faults)
{
    const fs::path planFile = directory / c_PlanFile;
    std::ofstream plan(planFile);
    WriteRecorded(directory / fs::path(c_RecordedFiles).parent_path().filename(), files, plan);
    for (const Fault_T& fault : m_Faults.OfCalls()) {
        plan << NameOf(fault.kind->operation) << ' ' << fault.number << ' ' << fault.kind->kind << ' '
             << fault.value << ' ' << fault.specification << '\n';
    }
    Check(plan.flush(), planFile);
    const fs::path logFile = directory / c_LogFile;
    std::ofstream(logFile).close();
    m_Log.open(logFile);
    Check(m_Log, logFile);
    m_Faults.SetLogReader([this] { TakeLog(); });
}

CCallFaults::~CCallFaults()
{
    m_Faults.SetLogReader([] {});
}

std::vector<std::pair<std::string, std::string>> CCallFaults::Environment(const fs::path& insideDirectory)
{
    return {{c_CallPlanVariable, insideDirectory / c_PlanFile},
            {c_CallLogVariable, insideDirectory / c_LogFile}};
}

const std::vector<std::string>& CCallFaults::Lacks()
{
    TakeLog();
    return m_Lacks;
}

void CCallFaults::TakeLog()
{
    for (;;) {
        const auto place = m_Log.tellg();
        std::string text;
        std::getline(m_Log, text);
        if (m_Log.eof()) {
            m_Log.clear();
            m_Log.seekg(place); // the rest of the line is not written yet
            return;
        }
        const std::string_view line = text;
        const std::size_t operationEnd = line.find(' ');
        const std::size_t numberEnd = line.find(' ', operationEnd + 1);
        const auto* const pName = std::ranges::find(c_FaultOperationNames, line.substr(0, operationEnd));
        if (line.starts_with(c_LogLack)) {
            m_Lacks.emplace_back(line.substr(numberEnd + 1));
        } else if (numberEnd != line.npos) {
            m_Faults.Trigger(line.substr(numberEnd + 1));
        } else if (pName != c_FaultOperationNames.end()) {
            m_Faults.Count(static_cast<FaultOperation_T>(pName - c_FaultOperationNames.begin()));
        }
    }
}
