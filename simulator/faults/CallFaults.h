#pragma once

#include "simulator/faults/Faults.h"
#include "simulator/trace/TraceEntry.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

/// Counts the program's system calls on nodes and files of the unit, makes them fail, and gives the program
/// files as they were when it was recorded. A library that is
/// loaded into the program does it: it reads the plan of faults from a file of the unit's directory, and
/// writes a log there.
class CCallFaults
{
public:
    /// Writes the plan into an existing directory; the faults must outlive this object. Throws
    /// std::runtime_error when it cannot, or when the library is missing.
    /// @param files  as a recorded program used them; empty: files are those of the unit
    CCallFaults(const std::filesystem::path& directory, CFaultPlan& faults,
                const std::vector<TraceAccess_T>& files);
    CCallFaults(const CCallFaults&) = delete;
    CCallFaults& operator=(const CCallFaults&) = delete;
    ~CCallFaults();

    /// The library's file.
    const std::filesystem::path& Library() const { return m_Library; }

    /// The program's uses of files that the recording does not have, such as "open of /VERSION".
    const std::vector<std::string>& Lacks();

    /// Environment that names plan and log to the library. The program sees the directory as insideDirectory.
    static std::vector<std::pair<std::string, std::string>>
    Environment(const std::filesystem::path& insideDirectory);

private:
    /// Reads new log lines into the plan.
    void TakeLog();

    const std::filesystem::path m_Library;
    CFaultPlan& m_Faults;
    std::ifstream m_Log;
    std::vector<std::string> m_Lacks;
};
