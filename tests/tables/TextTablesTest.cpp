#include "framework/OutputStrings.h"
#include "station/output/Formats.h"
#include "station/transcript/Rules.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/tables/Places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>

namespace
{
/// The names and numbers of the keys of the family's messages.
std::vector<Row_T> Keys() { return Matches(Source("framework/OutputStrings.h"), R"((OUT_\w+) = (\d+))"); }

/// The texts of the family's messages by the names of their keys.
std::map<std::string, std::string> FamilyMessages()
{
    std::map<std::string, std::string> messages;
    for (const Row_T& key : Keys()) {
        messages[key[0]] = COutputStringTable()[static_cast<OutputStrings_T>(std::stoi(key[1]))];
    }
    return messages;
}

/// The sources of the tests and of what comes before them, with each text in one piece.
std::string TestSources()
{
    return std::regex_replace(Printed("cd '" SONARBENCH_SOURCE "' && cat sonar/*.cpp app/CommandTable.cpp "
                                      "framework/UnitIdentity.cpp"),
                              std::regex(R"("\s*\n\s*")"), "");
}

/// The lines that the tests print: texts with two words and a capital letter, and messages of the family.
Names_T PrintedLines()
{
    const std::string sources = TestSources();
    Words_T texts;
    for (const Row_T& text : Matches(sources, R"xx("((?:[^"\\\n]|\\.)*)")xx")) {
        if (std::regex_search(text[0], std::regex("[A-Z]")) &&
            std::regex_search(text[0], std::regex("[A-Za-z:] [A-Za-z]"))) {
            texts.push_back(std::regex_replace(text[0], std::regex(R"(\\n)"), "\n"));
        }
    }
    const auto messages = FamilyMessages();
    for (const std::string& key : Found(sources, R"(\[(OUT_\w+)\])")) {
        texts.push_back(messages.at(key));
    }
    Names_T lines;
    for (const std::string& text : texts) {
        for (const std::string& line : Split(text, '\n')) {
            lines.insert(line);
        }
    }
    lines.erase("");
    return lines;
}

/// The words of a fuzzer's dictionary.
Words_T Dictionary(const std::string& file)
{
    Words_T words;
    for (const Row_T& word : Matches("\n" + Source(file), R"xx(\n"([^\n]*)")xx")) {
        std::string text = word[0];
        for (const auto& [written, meant] :
             {std::pair(R"(\\x0a)", ""), std::pair(R"(\\x09)", "\t"), std::pair(R"(\\")", "\"")}) {
            text = std::regex_replace(text, std::regex(written), meant);
        }
        words.push_back(text);
    }
    return words;
}
} // namespace

TEST(Tables, EachMessageOfTheFamilyHasItsTextAndNumber)
{
    Names_T written;
    for (const auto& [key, text] : FamilyMessages()) {
        if (!text.empty() || key.starts_with("OUT_OTHER_PROGRAM_")) {
            written.insert(key);
        }
    }
    Words_T keys, numbers;
    for (const Row_T& key : Keys()) {
        keys.push_back(key[0]);
        numbers.push_back(key[1]);
    }
    ExpectKnownEverywhere("message", "framework/OutputStrings.h", keys,
                          {{"framework/OutputStrings.cpp", "its text", written}});
    ExpectKnownEverywhere("number of a message", "framework/OutputStrings.h", numbers, {});
}

TEST(Tables, EachLineThatATestPrintsIsKnownToTheStation)
{
    Names_T known;
    const Names_T lines = PrintedLines();
    const std::string unitData = Source("station/transcript/UnitData.cpp");
    for (const std::string& line : lines) {
        // A text may be a part of a line.
        const auto hasLine = [&line](std::string_view text) {
            return text.find(line) != std::string_view::npos || Match(text, line);
        };
        if (std::ranges::any_of(Rules(), hasLine, &Rule_T::pattern) ||
            std::ranges::any_of(VerdictLines(), hasLine, &VerdictLine_T::text) ||
            unitData.find(line) != std::string::npos) {
            known.insert(line);
        }
    }
    ExpectKnownEverywhere(
        "line", "the sources of sonar/", RowsOf(lines),
        {{"station/transcript/Rules.cpp", "a rule; the unit's data is in UnitData.cpp", known}});
}

TEST(Tables, EachRuleOfTheStationIsKnownToTheFuzzer)
{
    constexpr std::size_t c_LongestWord = 64; // the fuzzer passes over longer ones
    constexpr std::size_t c_EnoughOfWord = 40;
    Words_T rules;
    Names_T inDictionary;
    const Words_T dictionary = Dictionary("fuzz/transcripts.dict");
    for (const std::string& word : dictionary) {
        EXPECT_LE(word.size(), c_LongestWord) << word;
    }
    for (const Rule_T& rule : Rules()) {
        const char* const places[] = {"before a report", "in a report", "on standard error"};
        rules.push_back(std::string(rule.pattern) + "\" " + places[static_cast<std::size_t>(rule.place)] +
                        ", step \"" + std::to_string(rule.step));
        const std::string_view beginning = LiteralBeginning(rule.pattern).substr(0, c_EnoughOfWord);
        if (std::ranges::any_of(dictionary, [&](const std::string& word) {
                return Match(rule.pattern, word) || (!beginning.empty() && word.starts_with(beginning));
            })) {
            inDictionary.insert(rules.back());
        }
    }
    ExpectKnownEverywhere("rule", "station/transcript/Rules.cpp", rules,
                          {{"fuzz/transcripts.dict", "a line that it matches", inDictionary}});
}

TEST(Tables, EachOutputFormatIsTestedAndDescribed)
{
    Words_T options;
    for (const Format_T& format : Formats()) {
        options.emplace_back(format.option);
    }
    ExpectKnownEverywhere(
        "output format", "station/output/Formats.cpp", options,
        {
            {"packaging/man/sonarbench-station.1", ".It Fl -OPTION",
             Found(Source("packaging/man/sonarbench-station.1"), R"(\.It Fl -(\S+))"), true},
            {"tests/station/", "what it writes",
             Found(Printed("cat '" SONARBENCH_SOURCE "'/tests/station/*"), R"xx("(?:--)?(\w+)")xx"), true},
        });
}
