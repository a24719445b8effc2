#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace testing;

TEST(StationPage, ItsTextsAreThoseOfTheProgram)
{
    std::string sources;
    for (const char* floor : {"app", "sonar", "framework"}) {
        for (const auto& file :
             std::filesystem::directory_iterator(SONARBENCH_SOURCE "/" + std::string(floor))) {
            if (file.path().extension() == ".cpp") {
                sources += Source(floor + ("/" + file.path().filename().string()));
            }
        }
    }
    const std::string page = Source("docs/station.md");
    for (const char* heading : {"### The verdict", "### Texts of failures", "### The unit's data"}) {
        for (const Row_T& row : TableBelow(page, heading)) {
            for (const Row_T& text : Matches(row[0], "`([^`]+)`")) {
                EXPECT_THAT(sources, HasSubstr(text[0]));
            }
        }
    }
}
