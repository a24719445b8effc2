#include "tests/docs/Page.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

Words_T Split(const std::string& text, char separator)
{
    Words_T parts;
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
    const std::string below = page.substr(std::min(page.find(line), page.size())) + "\n\n";
    std::vector<Row_T> rows;
    for (const Row_T& text : Matches(Between(below, "---|\n", "\n\n"), R"(\|(.*)\|)")) {
        rows.push_back(Split(text[0], '|'));
    }
    EXPECT_FALSE(rows.empty()) << line;
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

std::string Printed(const std::string& script)
{
    const TemporaryDirectory directory;
    const std::string file = directory.Write("script", script);
    EXPECT_EQ(std::system(("bash " + file + " </dev/null >" + directory.Path("out")).c_str()), 0) << script;
    return directory.Read("out");
}

Words_T Offered(const Words_T& words)
{
    std::string script = ". packaging/completion/sonarbench\nCOMP_WORDS=(";
    for (const std::string& word : words) {
        script += "'" + word + "' ";
    }
    const std::string function = words.front() == SONARBENCH_SIM ? "_sonarbench_sim" : "_sonarbench";
    Words_T offered = Split(Printed(script + ")\nCOMP_CWORD=" + std::to_string(words.size() - 1) + "\n" +
                                    function + "\nprintf '%s\\n' \"${COMPREPLY[@]}\""),
                            '\n');
    std::erase(offered, "");
    return offered;
}
