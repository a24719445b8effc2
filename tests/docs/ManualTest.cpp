#include "app/CommandTable.h"
#include "sonar/PingMetaData.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

using namespace testing;

TEST(Manual, HasTheOptionsThatTheSimulatorsHelpShows)
{
    const std::string help = Printed(SONARBENCH_SIM " --help");
    const std::string manual = Source("packaging/man/sonarbench-sim.1");
    std::set<Row_T> shown, described;
    for (const Row_T& option : Matches(help, R"(\n  (?:-h, )?--([\w-]+)( <)?)")) {
        shown.insert({option[0], option[1].empty() ? "" : " Ar"});
    }
    for (const Row_T& option : Matches(manual, R"(\n\.It (?:Fl h , )?Fl -([\w-]+)( Ar)?)")) {
        described.insert(option);
    }
    EXPECT_EQ(described, shown);
}

TEST(Completion, OffersTheCommandsAndTheWordsThatWork)
{
    for (const CommandForm_T& form : CommandForms()) {
        if (form.choices.empty()) {
            continue;
        }
        Words_T line = {"sonarbench", std::string(form.word)};
        line.resize(line.size() + static_cast<std::size_t>(std::ranges::count(form.arguments, ' ')), "1");
        line.emplace_back();
        Words_T working(form.choices.begin(), form.choices.end());
        std::erase_if(working, [&](const auto& word) { return form.word != "ping" && !LumetSetting(word); });
        EXPECT_THAT(Offered(line), UnorderedElementsAreArray(working)) << form.word;
    }
    EXPECT_THAT(Offered({SONARBENCH_SIM, "--product", "QL6M", "--fault", "write", ":", "1", "=", "EIO", ""}),
                ElementsAreArray(Offered({"sonarbench", ""})));
    EXPECT_THAT(Offered({"sonarbench", "xkping", "CMakeL"}), ElementsAre("CMakeLists.txt"));
}

TEST(Completion, OffersWhatTheSimulatorKnows)
{
    EXPECT_THAT(Offered({SONARBENCH_SIM, "--product", "=", "QL6"}), ElementsAre("QL6M"));
    EXPECT_THAT(Offered({SONARBENCH_SIM, "--list-"}),
                UnorderedElementsAre("--list-faults", "--list-products"));
    // For kinds that are values, it offers values that the simulator accepts.
    for (const std::string operation : {"write", "fifo", "reply"}) {
        const Words_T kinds = Offered({SONARBENCH_SIM, "--fault", operation, ":", "1", "="});
        EXPECT_THAT(kinds, Not(IsEmpty()));
        for (const std::string& kind : kinds) {
            Printed(SONARBENCH_SIM " --fault " + operation + ":1=" + kind + " --list-faults");
        }
    }
}

TEST(Completion, NeverRunsTypedText)
{
    const TemporaryDirectory directory;
    Offered({SONARBENCH_SIM, "--fault", "write", ":", "$(touch " + directory.Path("ran") + ")", "="});
    EXPECT_FALSE(std::filesystem::exists(directory.Path("ran")));
}
