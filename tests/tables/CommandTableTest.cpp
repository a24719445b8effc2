#include "app/CommandTable.h"
#include "station/transcript/Commands.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/tables/Places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

namespace
{
constexpr char c_Table[] = "app/CommandTable.cpp";
constexpr char c_Usage[] = "sonar/SonarTestController.cpp";

/// A command as it is written: "xkping file channel increment".
std::string FormOf(const CommandForm_T& form)
{
    return std::string(form.word) + (form.arguments.empty() ? "" : " ") + std::string(form.arguments);
}

/// With the arguments in capitals: "xkping FILE CHANNEL INCREMENT".
std::string InCapitals(std::string form)
{
    std::transform(std::ranges::find(form, ' '), form.end(), std::ranges::find(form, ' '),
                   [](unsigned char character) { return std::toupper(character); });
    return form;
}

/// The commands whose tests the station's program can judge.
Names_T JudgedCommands()
{
    Names_T names;
    for (const CommandText_T& row : CommandTexts()) {
        names.emplace(row.command);
    }
    return names;
}

/// The usage is part of the printed contract, with a command too few and one too many.
Names_T CommandsOfUsage()
{
    Names_T names = Found(Source(c_Usage), R"xx("\./sonarbench (\w+))xx");
    names.insert("lumetping");
    names.erase("6mping");
    return names;
}

/// The manual's commands: how they are written, and what follows.
std::vector<Row_T> ManualItems()
{
    return Matches(Between(Source("packaging/man/sonarbench.1"), ".Ss Commands", ".Pp\nNumbers are decimal"),
                   R"(\n\.It Cm (\w+)(?: Ar)?( ?[^\n]*)((?:\n(?!\.It)[^\n]*)*))");
}

/// A command that is described with other arguments keeps them in its name.
Names_T DescribedCommands()
{
    Names_T names;
    for (const Row_T& item : ManualItems()) {
        const bool isRight = std::ranges::any_of(
            CommandForms(), [&](const CommandForm_T& form) { return FormOf(form) == item[0] + item[1]; });
        names.insert(item[0] + (isRight ? "" : item[1]));
    }
    return names;
}

/// The commands of scripts/commands.txt.
Words_T CommandsInOrder()
{
    Words_T commands;
    for (const Row_T& line : Matches("\n" + Source("scripts/commands.txt"), R"(\n(\w+))")) {
        commands.push_back(line[0]);
    }
    return commands;
}

/// Those for which each group of products has a verdict; the verdicts are letters in the order of the
/// commands.
Names_T CommandsWithVerdicts()
{
    const auto commands = CommandsInOrder();
    std::size_t verdicts = commands.size();
    const std::string groups = Between(Source("tests/endtoend/ProductsTest.cpp"), "c_Groups[] = {\n", "\n};");
    for (const std::string& letters : Found(groups, R"xx("([PFO]{2,})")xx")) {
        verdicts = std::min(verdicts, letters.size());
    }
    return {commands.begin(), commands.begin() + static_cast<std::ptrdiff_t>(verdicts)};
}

Names_T CommandsOfReadme()
{
    Names_T names;
    for (const CommandForm_T& form : CommandForms()) {
        if (Source("README.md").find("`" + InCapitals(FormOf(form)) + "`") != std::string::npos) {
            names.emplace(form.word);
        }
    }
    return names;
}
} // namespace

TEST(Tables, EachCommandIsKnownEverywhere)
{
    Words_T commands;
    for (const CommandForm_T& form : CommandForms()) {
        commands.emplace_back(form.word);
    }
    const auto inOrder = CommandsInOrder(), offered = Offered({"sonarbench", ""});
    ExpectKnownEverywhere(
        "command", c_Table, commands,
        {{"station/transcript/Commands.cpp", "a row with what it prints", JudgedCommands()},
         {"simulator/Options.cpp", "the products that --list-products shows it for",
          Found(Printed(SONARBENCH_SIM " --list-products"), R"((\w+))"), true},
         {"scripts/commands.txt",
          "a command line for the campaign, the soak and the tests",
          {inOrder.begin(), inOrder.end()}},
         {"tests/endtoend/ProductsTest.cpp",
          "a verdict in each group, at the place that commands.txt gives it", CommandsWithVerdicts()},
         {"fuzz/arguments.dict", "a command line", Found(Source("fuzz/arguments.dict"), R"(\n"([a-z]+))"),
          true},
         {"fuzz/transcripts.dict", "the command line of a report",
          Found(Source("fuzz/transcripts.dict"), R"(\n"sonarbench (\w+))")},
         {c_Usage, "a line of the usage", CommandsOfUsage()},
         {"packaging/man/sonarbench.1", ".It Cm COMMAND Ar ARGUMENTS", DescribedCommands()},
         {"packaging/completion/sonarbench", "the word", {offered.begin(), offered.end()}},
         {"README.md", "the command with its arguments in capitals", CommandsOfReadme()}});
}

TEST(Tables, EachWordThatAnArgumentMayBeIsInTheManual)
{
    Words_T words;
    for (const CommandForm_T& form : CommandForms()) {
        for (const std::string_view word : form.choices) {
            words.push_back(std::string(form.word).append(" ").append(word));
        }
    }
    Names_T described;
    for (const Row_T& item : ManualItems()) {
        for (const std::string& word : Found(item[2], R"(\n\.Cm (\w+))")) {
            described.insert(item[0] + " " + word);
        }
    }
    ExpectKnownEverywhere("word of an argument", c_Table, words,
                          {{"packaging/man/sonarbench.1", ".Cm WORD below its command", described, true}});
}
