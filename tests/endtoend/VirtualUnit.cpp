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
constexpr char c_HeadEnd[] = "\n\nTest Output: \n";

std::string ShellWord(const std::string& word)
{
    std::string quoted = " '";
    for (const char character : word) {
        quoted += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return quoted + "'";
}

Trace_T ReadTrace(const std::string& text)
{
    Trace_T trace;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string skipped;
        TraceLine_T fields;
        fields.text = line;
        words >> skipped >> fields.device >> fields.direction >> skipped >> fields.bytes;
        trace.push_back(fields);
    }
    return trace;
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

std::string ReportHead(const std::vector<std::string>& arguments)
{
    const auto append = [](const std::string& text, const std::string& word) { return text + word + " "; };
    return std::accumulate(arguments.begin(), arguments.end(), std::string(51, '-') + "\nsonarbench ",
                           append) +
           c_HeadEnd;
}

std::vector<std::string> UnitRun_T::Trace(const std::string& direction) const
{
    std::vector<std::string> lines;
    for (const TraceLine_T& line : trace) {
        if (line.direction == direction) {
            lines.push_back(line.text);
        }
    }
    return lines;
}

std::vector<std::string> UnitRun_T::Calls() const
{
    std::vector<std::string> calls;
    for (const TraceLine_T& line : trace) {
        if (line.direction == "ioctl" || line.direction == "write") {
            calls.push_back(line.direction + " " + line.bytes);
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

CVirtualUnit& CVirtualUnit::Option(const std::string& name, const std::string& value)
{
    m_Options.insert(m_Options.end(), {name, value});
    return *this;
}

UnitRun_T CVirtualUnit::Run(const std::vector<std::string>& arguments) const
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
    if (exitStatus != 0) { // a failing test does not show it
        std::cerr << "status " << exitStatus << "\n" << directory.Read("err");
    }
    if (std::ranges::find(m_Options, "--program") == m_Options.end()) {
        ExpectReadable(directory.Read("out"));
    }
    return {exitStatus, directory.Read("out"), directory.Read("err"), ReadTrace(directory.Read("trace")),
            directory.Read("trace")};
}

UnitRun_T CVirtualUnit::RunScript(const std::string& script, const std::vector<std::string>& arguments) const
{
    const TemporaryDirectory directory;
    const std::string program = directory.Write("program", "#!/bin/sh\n" + script);
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    return CVirtualUnit(*this).Option("--program", program).Run(arguments);
}
