#include "tests/endtoend/GoldenTrace.h"

#include <gtest/gtest.h>
#include <sstream>

namespace
{
/// "43 | 00*3" becomes "43000000".
std::string Expand(std::istream& words)
{
    std::string digits;
    for (std::string word; words >> word;) {
        const std::size_t star = word.find('*');
        const int count = star == std::string::npos ? 1 : std::stoi(word.substr(star + 1));
        for (int i = 0; i < count && word != "|"; ++i) {
            digits += word.substr(0, star);
        }
    }
    return digits;
}

/// One text for each operation in a golden file, as CallsOf() gives them.
std::vector<std::string> ReadGolden(const std::string& path)
{
    std::istringstream file(Source(path));
    std::vector<std::string> calls;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string request;
        if (line.starts_with("ioctl ") && words >> request >> request) {
            const std::string argument = Expand(words);
            calls.push_back("ioctl " + request + "+" + (argument.empty() ? "-" : argument));
        } else if (line == "write") {
            calls.emplace_back("write ");
        } else if (!line.empty() && line.front() != '#') {
            calls.back() += Expand(words);
        }
    }
    return calls;
}
} // namespace

void ExpectGolden(const Trace_T& trace, const std::string& path)
{
    const std::vector<std::string> expected = ReadGolden(path);
    std::vector<std::string> calls = CallsOf(trace);
    ASSERT_EQ(calls.size(), expected.size()) << path;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        for (std::size_t at = 0; at < std::min(calls[i].size(), expected[i].size()); ++at) {
            calls[i][at] = expected[i][at] == '?' ? '?' : calls[i][at];
        }
        EXPECT_EQ(calls[i], expected[i]) << path << ", operation " << i + 1;
    }
}

std::vector<std::string> CallsOf(const Trace_T& trace)
{
    std::vector<std::string> calls;
    for (const TraceLine_T& line : trace) {
        if (line.direction == "ioctl" || line.direction == "write") {
            calls.push_back(line.direction + " " + line.bytes);
        }
    }
    return calls;
}
