#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>

TEST(StationPage, ItsTextsAreThoseOfTheProgram)
{
    const std::string sources = Printed("cat app/*.cpp sonar/*.cpp framework/*.cpp");
    for (const char* heading : {"### The verdict", "### Texts of failures", "### The unit's data"}) {
        for (const Row_T& row : TableBelow(Source("docs/station.md"), heading)) {
            for (const Row_T& text : Matches(row[0], "`([^`]+)`")) {
                EXPECT_THAT(sources, testing::HasSubstr(text[0]));
            }
        }
    }
}

TEST(StationPage, WhatItSaysNotToTrustDoesNotFailTheTest)
{
    for (const Row_T& row : TableBelow(Source("docs/station.md"), "## What a station must not trust")) {
        for (const Row_T& words : Matches(row[3], "`([^`]+)`")) {
            const std::string output = Printed(SONARBENCH_SIM " " + words[0]);
            EXPECT_THAT(output, testing::Not(testing::HasSubstr("Tests Failed.")));
            for (const Row_T& shown : Matches(row[1], "([0-9]+) for [0-9]+")) {
                EXPECT_THAT(output, testing::HasSubstr(shown[0]));
            }
        }
    }
}
