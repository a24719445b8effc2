#include "tests/endtoend/VirtualUnit.h"

#include "tests/station/Runs.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <iostream>
#include <numeric>
#include <sstream>
#include <sys/wait.h>

namespace
{
constexpr std::size_t c_Direction = 2; // number of the word in a line of a trace
constexpr char c_HeadEnd[] = "\n\nTest Output: \n";

std::string ShellWord(const std::string& word)
{
    std::string quoted = " '";
    for (const char character : word) {
        quoted += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return quoted + "'";
}

/// A word of a trace's line; the first has number 0.
std::string Word(const std::string& line, std::size_t number)
{
    std::istringstream text(line);
    const Words_T words{std::istream_iterator<std::string>(text), {}};
    return number < words.size() ? words[number] : "";
}

/// The station recognises every line, and its verdict is good only if the program's is.
void ExpectReadable(const std::string& output)
{
    const CRuns runs(output);
    EXPECT_FALSE(runs.All().empty()) << output;
    for (const Run_T& run : runs.All()) {
        EXPECT_EQ(run.unrecognisedCount, 0U) << "first: " << run.unrecognised.front().text << "\n" << output;
    }
    const bool isGood = output.ends_with("Test Result: Test Passed.\n") ||
                        output.ends_with("Test Result: Operation Performed.\n");
    EXPECT_LE(runs.Good(), isGood ? 1 : 0) << output;
}
} // namespace

std::string Source(const std::string& path)
{
    std::ifstream file(SONARBENCH_SOURCE "/" + path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

bool HasNamespaces()
{
    return std::system(
               "bwrap --unshare-pid --as-pid-1 --unshare-net --unshare-ipc --unshare-uts --cap-drop ALL "
               "--ro-bind / / --proc /proc true 2>/dev/null") == 0;
}

std::string WithoutNotice(const std::string& errors)
{
    constexpr std::string_view c_Notice =
        "sonarbench-sim: the program is not isolated from this machine, because "
        "bwrap (with namespaces) cannot be used here\n";
    return errors.starts_with(c_Notice) ? errors.substr(c_Notice.size()) : errors;
}

std::string WithBlanks(const Words_T& words)
{
    const auto append = [](const std::string& text, const std::string& word) { return text + word + " "; };
    return std::accumulate(words.begin(), words.end(), std::string(), append);
}

std::string ReportHead(const Words_T& arguments)
{
    return std::string(51, '-') + "\nsonarbench " + WithBlanks(arguments) + c_HeadEnd;
}

std::string BytesOf(const std::string& traceLine) { return Word(traceLine, 4); }

Words_T UnitRun_T::Trace(const std::string& direction) const
{
    Words_T lines;
    std::istringstream rest(trace);
    for (std::string line; std::getline(rest, line);) {
        if (direction.empty() || Word(line, c_Direction) == direction) {
            lines.push_back(line);
        }
    }
    return lines;
}

Words_T UnitRun_T::Calls() const
{
    Words_T calls;
    for (const std::string& line : Trace("")) {
        const std::string direction = Word(line, c_Direction);
        if (direction == "ioctl" || direction == "write") {
            calls.push_back(direction + " " + BytesOf(line));
        }
    }
    return calls;
}

std::string UnitRun_T::Report() const
{
    const std::size_t head = output.find(c_HeadEnd);
    EXPECT_NE(head, std::string::npos) << output << errors;
    return head == std::string::npos ? "" : output.substr(head + sizeof c_HeadEnd - 1);
}

CVirtualUnit& CVirtualUnit::Option(const std::string& name)
{
    m_Options.push_back(name);
    return *this;
}

CVirtualUnit& CVirtualUnit::Option(const std::string& name, const std::string& value)
{
    m_Options.insert(m_Options.end(), {name, value});
    return *this;
}

UnitRun_T CVirtualUnit::Run(const Words_T& arguments) const
{
    const TemporaryDirectory directory;
    std::string command = m_Environment + SONARBENCH_SIM " --trace" + ShellWord(directory.Path("trace"));
    for (const std::string& option : m_Options) {
        command += ShellWord(option);
    }
    command += " --";
    for (const std::string& argument : arguments) {
        command += ShellWord(argument);
    }
    command += " </dev/null >" + directory.Path("out") + " 2>" + directory.Path("err");
    const int status = std::system(command.c_str());
    const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    const std::string errors = WithoutNotice(directory.Read("err"));
    if (exitStatus != 0) { // a failing test does not show it
        std::cerr << "status " << exitStatus << "\n" << errors;
    }
    const auto isGiven = [&](const char* option) {
        return std::ranges::find(m_Options, option) != m_Options.end();
    };
    if (!isGiven("--program") && !isGiven("--shell")) {
        ExpectReadable(directory.Read("out"));
    }
    return {exitStatus, directory.Read("out"), errors, directory.Read("trace")};
}

UnitRun_T CVirtualUnit::RunScript(const std::string& script, const Words_T& arguments) const
{
    const TemporaryDirectory directory;
    return CVirtualUnit(*this)
        .Option("--no-isolation")
        .Option("--program", directory.WriteProgram("program", script))
        .Run(arguments);
}
