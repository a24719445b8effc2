#include "tests/endtoend/VirtualUnit.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
namespace fs = std::filesystem;

fs::path MakeDirectory()
{
    std::string name = (fs::temp_directory_path() / "sonarbench-test-XXXXXX").string();
    return ::mkdtemp(name.data());
}

std::string ShellWord(const std::string& word)
{
    std::string quoted = "'";
    for (const char character : word) {
        quoted += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return quoted + "'";
}
} // namespace

std::string ContentsOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string ReportHead(const std::vector<std::string>& arguments)
{
    std::string head = std::string(51, '-') + "\nsonarbench ";
    for (const std::string& argument : arguments) {
        head += argument + " ";
    }
    return head + "\n\nTest Output: \n";
}

CTestFile::CTestFile(const std::string& contents, const std::string& name)
    : m_Directory(MakeDirectory()), m_Path(m_Directory / name)
{
    std::ofstream(m_Path, std::ios::binary) << contents;
}

CTestFile::~CTestFile() { fs::remove_all(m_Directory); }

std::vector<std::string> UnitRunResult_T::Trace(const std::string& kind) const
{
    std::vector<std::string> lines;
    for (const std::string& line : trace) {
        std::istringstream words(line);
        std::string time;
        std::string device;
        std::string direction;
        if (words >> time >> device >> direction && direction == kind) {
            lines.push_back(line);
        }
    }
    return lines;
}

CVirtualUnit::CVirtualUnit(const std::string& product) { Option("--product").Option(product); }

CVirtualUnit& CVirtualUnit::Option(const std::string& option)
{
    m_Options.push_back(option);
    return *this;
}

CVirtualUnit& CVirtualUnit::Set(const std::string& unitFile, const std::string& value)
{
    return Option("--set").Option(unitFile + "=" + value);
}

CVirtualUnit& CVirtualUnit::Copy(const std::string& unitFile, const fs::path& file)
{
    return Option("--copy").Option(unitFile + "=" + file.string());
}

CVirtualUnit& CVirtualUnit::Remove(const std::string& unitFile)
{
    return Option("--remove").Option(unitFile);
}

CVirtualUnit& CVirtualUnit::Fault(const std::string& specification)
{
    return Option("--fault").Option(specification);
}

UnitRunResult_T CVirtualUnit::Run(const std::vector<std::string>& arguments) const
{
    const CTestFile trace("", "trace");
    const fs::path directory = trace.Path().parent_path();
    std::string command = ShellWord(SONARBENCH_SIM) + " --trace " + ShellWord(trace.Path());
    for (const std::string& option : m_Options) {
        command += " " + ShellWord(option);
    }
    command += " --";
    for (const std::string& argument : arguments) {
        command += " " + ShellWord(argument);
    }
    command += " </dev/null >" + ShellWord(directory / "out") + " 2>" + ShellWord(directory / "err");
    const int status = std::system(command.c_str());
    UnitRunResult_T result{WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                           ContentsOf(directory / "out"),
                           ContentsOf(directory / "err"),
                           {}};
    std::istringstream lines(ContentsOf(trace.Path()));
    for (std::string line; std::getline(lines, line);) {
        result.trace.push_back(line);
    }
    return result;
}
