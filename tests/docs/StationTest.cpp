#include "station/judge/LearnLimits.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>

TEST(StationPage, ItsTextsAreThoseOfTheProgram)
{
    const std::string sources = Printed("cat app/*.cpp sonar/*.cpp framework/*.cpp");
    for (const char* const heading : {"### The verdict", "### Texts of failures", "### The unit's data"}) {
        for (const Row_T& row : TableBelow(Source("docs/station.md"), heading)) {
            const auto texts = Matches(row[0], "`([^`]+)`");
            EXPECT_EQ(texts.empty(), row[0] == "anything else") << heading << ": " << row[0];
            for (const Row_T& text : texts) {
                EXPECT_THAT(sources, testing::HasSubstr(text[0]));
            }
        }
    }
}

TEST(StationPage, TheFaultsThatItWarnsOfDoNotFailTheTest)
{
    for (const Row_T& row : TableBelow(Source("docs/station.md"), "## What a station must not trust")) {
        const auto commands = Matches(row[3], "`([^`]+)`");
        EXPECT_FALSE(commands.empty()) << row[0];
        for (const Row_T& words : commands) {
            const std::string output = Printed(SONARBENCH_SIM " " + words[0]);
            EXPECT_THAT(output, testing::Not(testing::HasSubstr("Tests Failed.")));
            for (const Row_T& shown : Matches(row[1], "([0-9]+) for [0-9]+")) {
                EXPECT_THAT(output, testing::HasSubstr(shown[0]));
            }
        }
    }
}

TEST(LimitsPage, ItsTableIsThatOfTheMethod)
{
    constexpr double c_Limits = 25;
    for (const Row_T& row : TableBelow(Source("docs/limits.md"), "## How many units")) {
        for (const auto& [column, rate] : {std::pair(1, 0.001), std::pair(2, 0.01)}) {
            EXPECT_NEAR(std::stod(row[column]), LimitDistance(rate / c_Limits / 2, std::stoul(row[0])), 0.05)
                << row[0] << " units";
        }
    }
}
