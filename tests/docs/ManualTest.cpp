#include "app/CommandTable.h"
#include "framework/Products.h"
#include "sonar/LumetSettings.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <map>
#include <set>

using namespace testing;
using Words_T = std::vector<std::string>;

namespace
{
const std::string c_Program = "packaging/man/sonarbench.1";
const std::string c_Simulator = "packaging/man/sonarbench-sim.1";

/// What a shell program prints.
std::string Printed(const std::string& script)
{
    const TemporaryDirectory directory;
    const std::string file = directory.Write("script", script);
    EXPECT_EQ(std::system(("bash " + file + " </dev/null >" + directory.Path("out")).c_str()), 0) << script;
    return directory.Read("out");
}

/// What the completion offers for the last of these words, as bash's readline splits them.
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

std::map<std::string, int> ArgumentCounts()
{
    std::map<std::string, int> counts;
    for (const CommandForm_T& form : CommandForms()) {
        counts[std::string(form.word)] = form.arguments;
    }
    return counts;
}

Words_T Commands()
{
    Words_T commands;
    for (const CommandForm_T& form : CommandForms()) {
        commands.emplace_back(form.word);
    }
    return commands;
}

/// Lines OPERATION KIND.
Words_T Faults() { return Split(Printed(SONARBENCH_SIM " --list-faults"), '\n'); }
} // namespace

TEST(Manual, HasTheCommandsOfTheTable)
{
    const std::string commands = Between(Source(c_Program), ".Ss Commands", ".Pp\nNumbers are decimal");
    std::map<std::string, int> counts;
    for (const Row_T& item : Matches(commands, R"(\.It Cm (\w+)(?: Ar ([\w ]+))?\n)")) {
        counts[item[0]] = static_cast<int>(Split(item[1], ' ').size());
    }
    EXPECT_EQ(counts, ArgumentCounts());
    for (const CommandForm_T& form : CommandForms()) {
        const std::string text = Between(commands + ".It", ".It Cm " + std::string(form.word), ".It");
        for (const std::string_view word : form.choices) {
            EXPECT_THAT(text, ContainsRegex("\n.Cm " + std::string(word) + "( [,.])?\n"));
        }
    }
}

TEST(Manual, TheUsageDiffersFromTheTableOnlyAsStationsKnowIt)
{
    std::map<std::string, int> counts;
    for (const Row_T& line : Matches(CVirtualUnit().Run({}).output,
                                     R"(\./sonarbench (\w+).*\(Example: \.+/sonarbench \w+ ?(.*)\)\n)")) {
        counts[line[0]] = static_cast<int>(Split(line[1], ' ').size());
    }
    std::map<std::string, int> table = ArgumentCounts();
    table.erase("lumetping");
    table["6mping"] = 1;
    EXPECT_EQ(counts, table);
}

TEST(Manual, HasTheFilesOfTheUnit)
{
    const std::string files = Between(Source(c_Program), ".Sh FILES", ".Sh EXIT STATUS");
    const auto paths = Matches(Source("framework/UnitPaths.h"), "\"(/[^\"]*)\"");
    EXPECT_GT(paths.size(), 10U);
    for (const Row_T& path : paths) {
        EXPECT_THAT(files, ContainsRegex("Pa " + path[0] + "[ \n]"));
    }
}

TEST(Manual, HasTheOptionsAndFaultsThatTheSimulatorsHelpShows)
{
    const std::string help = Printed(SONARBENCH_SIM " --help");
    const std::string manual = Source(c_Simulator);
    std::set<std::string> shown;
    for (const Row_T& option : Matches(help, R"(\n  (?:-\w, )?--([\w-]+)( <)?)")) {
        shown.insert(option[0] + (option[1].empty() ? "" : " VALUE"));
    }
    std::set<std::string> described = {"help-all"};
    for (const Row_T& option : Matches(manual, R"(\n\.It (?:Fl h , )?Fl -([\w-]+)( Ar)?)")) {
        described.insert(option[0] + (option[1].empty() ? "" : " VALUE"));
    }
    EXPECT_EQ(described, shown);
    EXPECT_THAT(manual, HasSubstr("\n.Fl -help-all\n"));

    const auto explained =
        Matches(manual, R"(\n\.It Cm ([\w-]+):\\& Ns Ar N Ns Cm = Ns (?:Ar|Cm) (\w+)\n(.*))");
    EXPECT_EQ(explained, Matches(help, R"(\n  ([\w-]+):N=(\w+) +(.*))"));
    EXPECT_EQ(explained.size(), Faults().size());
}

TEST(Completion, OffersTheCommandsAndTheWordsThatWork)
{
    EXPECT_THAT(Offered({"sonarbench", ""}), UnorderedElementsAreArray(Commands()));
    EXPECT_THAT(Offered({"sonarbench", "lumet"}), ElementsAre("lumetping"));
    for (const CommandForm_T& form : CommandForms()) {
        if (!form.choices.empty()) {
            Words_T line = {"sonarbench", std::string(form.word)};
            line.resize(line.size() + static_cast<std::size_t>(form.arguments) - 1, "1");
            line.emplace_back();
            Words_T working;
            for (const std::string_view word : form.choices) {
                if (form.word == "ping" || LumetSetting(word)) {
                    working.emplace_back(word);
                }
            }
            EXPECT_THAT(Offered(line), UnorderedElementsAreArray(working)) << form.word;
        }
    }
    EXPECT_THAT(Offered({"sonarbench", "xkping", "CMakeL"}), ElementsAre("CMakeLists.txt"));
    EXPECT_THAT(Offered({"sonarbench", "xkping", "CMakeLists.txt", ""}), IsEmpty());
}

TEST(Completion, OffersWhatTheSimulatorKnows)
{
    Words_T products;
    for (const Product_T& product : Products()) {
        products.emplace_back(product.name);
    }
    EXPECT_THAT(Offered({SONARBENCH_SIM, "--product", ""}), UnorderedElementsAreArray(products));
    EXPECT_THAT(Offered({SONARBENCH_SIM, "--product", "=", "QL6"}), ElementsAre("QL6M"));
    EXPECT_THAT(Offered({SONARBENCH_SIM, "--list-"}),
                UnorderedElementsAre("--list-faults", "--list-products"));
    EXPECT_THAT(Offered({SONARBENCH_SIM, "--product", "QL6M", "--fault", "write", ":", "1", "=", "EIO", ""}),
                UnorderedElementsAreArray(Commands()));

    std::set<std::string> operations;
    Words_T repliesKinds;
    for (const std::string& fault : Faults()) {
        const auto words = Split(fault, ' ');
        operations.insert(words.at(0) + ":");
        if (words.at(0) == "reply") {
            repliesKinds.push_back(words.at(1));
        }
    }
    EXPECT_THAT(Offered({SONARBENCH_SIM, "--fault", ""}), UnorderedElementsAreArray(operations));
    EXPECT_THAT(Offered({SONARBENCH_SIM, "--fault", "reply", ":", "*", "="}),
                UnorderedElementsAreArray(repliesKinds));
    // What stands for a value is offered as values that the simulator takes.
    for (const Words_T& beginning : {Words_T{"write", "1"}, Words_T{"fifo", "1"}}) {
        for (const std::string& kind :
             Offered({SONARBENCH_SIM, "--fault", beginning[0], ":", beginning[1], "="})) {
            Printed(SONARBENCH_SIM " --fault " + beginning[0] + ":" + beginning[1] + "=" + kind +
                    " --list-faults");
        }
    }
}

TEST(Completion, RunsNothingOfWhatIsTyped)
{
    const TemporaryDirectory directory;
    Offered({SONARBENCH_SIM, "--fault", "write", ":", "$(touch " + directory.Path("ran") + ")", "="});
    EXPECT_FALSE(std::filesystem::exists(directory.Path("ran")));
}
