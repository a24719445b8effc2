#include "station/judge/LearnLimits.h"
#include "station/judge/Measurements.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"

#include <QLocale>

#include <gmock/gmock.h>

#include <cmath>

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
        for (const auto& [column, rate] : {std::pair(1U, 0.001), std::pair(2U, 0.01)}) {
            EXPECT_NEAR(std::stod(row[column]), LimitDistance(rate / c_Limits / 2, std::stoul(row[0])), 0.05)
                << row[0] << " units";
        }
    }
}

TEST(MeasurementsPage, HasEachRowAsTheProgramHasIt)
{
    const std::string page = Source("docs/measurements.md");
    std::map<std::string, Row_T> shown;
    for (const char* const heading : {"## What the text shows", "## The bottom", "## The quiet part",
                                      "## The transmit pulse and all samples", "## The ping before"}) {
        for (const Row_T& row : TableBelow(page, heading)) {
            shown[row[0]] = row;
        }
    }
    const auto number = [](double value) {
        return QLocale(QLocale::English).toString(value, 'f', 0).toStdString();
    };
    for (const MeasurementRow_T& row : MeasurementRows()) {
        const std::string range = std::isinf(row.least)  ? "any"
                                  : std::isinf(row.most) ? "from " + number(row.least)
                                                         : number(row.least) + " to " + number(row.most);
        const Row_T found = shown["`" + std::string(row.name) + "`"];
        ASSERT_EQ(found.size(), 6U) << "docs/measurements.md does not have " << row.name;
        EXPECT_EQ(Row_T({found[1], found[2], found[5]}), Row_T({row.unit, range, row.usesLaw ? "law" : ""}))
            << row.name;
    }
    EXPECT_EQ(shown.size(), MeasurementRows().size());
}
