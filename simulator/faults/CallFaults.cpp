#include "simulator/faults/CallFaults.h"

#include "simulator/unit/ProgramRun.h"

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
} // namespace

CCallFaults::CCallFaults(const fs::path& directory, CFaultPlan& faults)
    : m_Library(HelperFile(c_LibraryFile)), m_Faults(faults)
{
    const fs::path planFile = directory / c_PlanFile;
    std::ofstream plan(planFile);
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
        if (numberEnd != line.npos) {
            m_Faults.Trigger(line.substr(numberEnd + 1));
        } else if (pName != c_FaultOperationNames.end()) {
            m_Faults.Count(static_cast<FaultOperation_T>(pName - c_FaultOperationNames.begin()));
        }
    }
}
