#pragma once

#include "simulator/faults/Faults.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

/// Counts the program's system calls on nodes and files of the unit, and makes them fail. A library that is
/// loaded into the program does it: it reads the plan of faults from a file of the unit's directory, and
/// writes a log there.
class CCallFaults
{
public:
    /// Writes the plan into an existing directory; the faults must outlive this object. Throws
    /// std::runtime_error when it cannot, or when the library is missing.
    CCallFaults(const std::filesystem::path& directory, CFaultPlan& faults);
    CCallFaults(const CCallFaults&) = delete;
    CCallFaults& operator=(const CCallFaults&) = delete;
    ~CCallFaults();

    /// The library's file.
    const std::filesystem::path& Library() const { return m_Library; }

    /// Environment that names plan and log to the library. The program sees the directory as insideDirectory.
    static std::vector<std::pair<std::string, std::string>>
    Environment(const std::filesystem::path& insideDirectory);

private:
    /// Reads new log lines into the plan.
    void TakeLog();

    const std::filesystem::path m_Library;
    CFaultPlan& m_Faults;
    std::ifstream m_Log;
};
