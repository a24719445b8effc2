#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// How a run on a virtual unit ended, and what it left.
struct UnitRunResult_T {
    int status;         ///< exit status of the simulator
    std::string output; ///< standard output
    std::string errors; ///< standard error
    std::vector<std::string> trace;

    /// The trace's lines of one kind: "ioctl", "write", "fill", "reply" or "image".
    std::vector<std::string> Trace(const std::string& kind) const;
};

/// A virtual unit in the making: a product, changes to its files, faults; then runs on it.
class CVirtualUnit
{
public:
    explicit CVirtualUnit(const std::string& product = "QL4K");

    CVirtualUnit& Set(const std::string& unitFile, const std::string& value);
    CVirtualUnit& Copy(const std::string& unitFile, const std::filesystem::path& file);
    CVirtualUnit& Remove(const std::string& unitFile);
    CVirtualUnit& Fault(const std::string& specification);
    CVirtualUnit& Option(const std::string& option);

    /// Runs sonarbench on the unit; a byte of an argument may be anything but zero.
    UnitRunResult_T Run(const std::vector<std::string>& arguments) const;

private:
    std::vector<std::string> m_Options;
};

/// A file that lives as long as this object, with these contents.
class CTestFile
{
public:
    explicit CTestFile(const std::string& contents, const std::string& name = "table.txt");
    CTestFile(const CTestFile&) = delete;
    CTestFile& operator=(const CTestFile&) = delete;
    ~CTestFile();
    const std::filesystem::path& Path() const { return m_Path; }

private:
    std::filesystem::path m_Directory;
    std::filesystem::path m_Path;
};

/// Contents of a file of the repository or elsewhere.
std::string ContentsOf(const std::filesystem::path& file);

/// What the report begins with for these arguments.
std::string ReportHead(const std::vector<std::string>& arguments);
