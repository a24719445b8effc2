#include "tests/endtoend/GoldenTrace.h"

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
} // namespace

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
