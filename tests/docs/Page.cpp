#include "tests/docs/Page.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

std::vector<std::string> Split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream rest(text);
    for (std::string part; std::getline(rest, part, separator);) {
        const auto first = part.find_first_not_of(' ');
        parts.push_back(
            first == std::string::npos ? "" : part.substr(first, part.find_last_not_of(' ') + 1 - first));
    }
    return parts;
}

std::vector<Row_T> TableBelow(const std::string& page, const std::string& line)
{
    std::vector<Row_T> rows;
    const std::size_t place = page.find(line);
    EXPECT_NE(place, std::string::npos) << line;
    std::istringstream rest(place == std::string::npos ? "" : page.substr(place));
    for (std::string text; std::getline(rest, text) && (rows.empty() || text.starts_with('|'));) {
        if (text.starts_with('|')) {
            Row_T row = Split(text, '|');
            row.erase(row.begin());
            rows.push_back(std::move(row));
        }
    }
    EXPECT_GT(rows.size(), 2U) << line;
    rows.erase(rows.begin(), rows.begin() + std::min<std::ptrdiff_t>(2, std::ssize(rows)));
    return rows;
}

std::vector<Row_T> Matches(const std::string& text, const std::string& expression)
{
    const std::regex regex(expression);
    std::vector<Row_T> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.emplace_back(std::next(match->begin()), match->end());
    }
    return found;
}

std::string Between(const std::string& text, const std::string& begin, const std::string& end)
{
    const std::size_t first = text.find(begin);
    const std::size_t last = first == std::string::npos ? first : text.find(end, first + begin.size());
    EXPECT_NE(last, std::string::npos) << begin << " to " << end;
    return last == std::string::npos ? "" : text.substr(first + begin.size(), last - first - begin.size());
}
