#include "tests/endtoend/GoldenTrace.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace
{
/// "43 | 00*3" becomes "43000000".
std::string Expand(const std::string& notation)
{
    std::string digits;
    std::istringstream words(notation);
    for (std::string word; words >> word;) {
        if (word == "|") {
            continue;
        }
        const std::size_t star = word.find('*');
        const int count = star == std::string::npos ? 1 : std::stoi(word.substr(star + 1));
        for (int i = 0; i < count; ++i) {
            digits += word.substr(0, star);
        }
    }
    return digits;
}
} // namespace

std::vector<std::string> ReadGolden(const std::filesystem::path& file)
{
    std::ifstream stream(file);
    EXPECT_TRUE(stream) << file;
    std::vector<std::string> calls;
    for (std::string line; std::getline(stream, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line == "write") {
            calls.emplace_back("write ");
        } else if (line.starts_with("ioctl ")) {
            const std::string argument = Expand(line.substr(14));
            calls.push_back(line.substr(0, 14) + "+" + (argument.empty() ? "-" : argument));
        } else {
            calls.back() += Expand(line);
        }
    }
    return calls;
}

std::vector<std::string> CallsOf(const std::vector<std::string>& trace)
{
    std::vector<std::string> calls;
    for (const std::string& line : trace) {
        std::istringstream words(line);
        std::string time;
        std::string device;
        std::string direction;
        std::string count;
        std::string bytes;
        words >> time >> device >> direction >> count >> bytes;
        if (direction == "ioctl" || direction == "write") {
            calls.push_back(direction + " " + bytes);
        }
    }
    return calls;
}
