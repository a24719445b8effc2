#include "tests/endtoend/GoldenTrace.h"

#include <gmock/gmock.h>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

TEST(LinkGolden, EachLinkSendsByteForByteWhatItsRulesSay)
{
    const std::tuple<std::string, std::vector<std::string>, std::string> cases[] = {
        {"Varrow", {"ping", "200000", "210000", "27", "45", "0", "medium"}, "ping_varrow"},
        {"LumetV2", {"lumetping", "200long"}, "lumetping_200long"},
        {"LumetV1", {"lowscanping", "350long"}, "lumetping_350long"}};
    for (const auto& [product, arguments, golden] : cases) {
        const auto run = CVirtualUnit(product).Run(arguments);
        EXPECT_THAT(run.output, EndsWith("Test Result: Test Passed.\n"));
        ExpectGolden(run, "tests/golden/" + golden + ".golden");
    }
}

TEST(LinkGolden, AChannelThatDoesNotExistIsPingedAndFails)
{
    const auto run = CVirtualUnit("Varrow").Run({"ping", "200000", "210000", "27", "45", "2", "low"});
    EXPECT_THAT(run.output, HasSubstr("Invalid channel Specified: 2\n"));
    EXPECT_THAT(run.output,
                HasSubstr("\nParameters:\nCh0Period = 45; Ch1Period = 45 ; Start freq = 200000.000000; "
                          "End freq = 210000.000000; Decimation rate = 76 ; Samples = 993\n"
                          "\n<SonarFPGAData>"));
    EXPECT_THAT(run.Report(), HasSubstr("\nChannel must be 1 or 0.\n\n\n\n//"));
    EXPECT_EQ(CallsOf(run.trace).back(), "write f5000100000001f7");
}

TEST(LinkGolden, RefusalsAreNamed)
{
    const std::tuple<std::string, std::vector<std::string>, std::string> cases[] = {
        {"QL5K",
         {"ping", "1", "2", "3", "4", "0", "low"},
         "ERROR: Do not use ping for Lumet or New QL derivitives. Use lumetping instead.\n"},
        {"LumetV2",
         {"xkping", "examples/short.txt", "0", "1"},
         "Loading FPGA...\nERROR: Use only for xK derivitives.\n"},
        {"LumetV4", {"lumetping", "200"}, "ERROR: Unknown frequency request.\n"},
        {"TessfinV1", {"lumetping", "200long"}, "ERROR: Channel 0 (Sonar) does not exist. Will not ping.\n"},
        {"LumetV2",
         {"lumetping", "200long"},
         "Attempting ping on channel 0 (Sonar) at start frequency of: 12098499\n"},
        {"LumetV1",
         {"lumetping", "350long"},
         "Attempting ping on channel 1 (Lowscan) at start frequency of: 21172373\n"}};
    for (const auto& [product, arguments, text] : cases) {
        EXPECT_THAT(CVirtualUnit(product).Run(arguments).Report(), HasSubstr(text));
    }
    const std::pair<std::string, std::string> failures[] = {
        {"write:1=EIO", "ERROR: Failed to get version.\nERROR: Failed to populate FPGA data.\n"},
        {"write:2=EIO", "ERROR: UpdateFPGA failed.\n"},
        {"write:3=EIO", "ERROR: Ping failed.\n"},
        {"write:4=EIO", "ERROR: Get ping failed.\n"}};
    for (const auto& [fault, text] : failures) {
        EXPECT_THAT(CVirtualUnit("LumetV2").Fault(fault).Run({"lumetping", "200long"}).Report(),
                    HasSubstr(text));
    }
}

TEST(LinkGolden, SensorsOfTheWaterAreShown)
{
    EXPECT_THAT(CVirtualUnit("Varrow").Run({"watertemperature"}).output,
                StartsWith("GetWaterTemp failed with return code: -174\n"));
    EXPECT_THAT(CVirtualUnit("Varrow")
                    .Set("/sys/devices/platform/varrow/water_temperature", "17.5")
                    .Run({"watertemperature"})
                    .Report(),
                StartsWith("17.5\n\nTest Result: Operation Performed.\n"));
    EXPECT_THAT(
        CVirtualUnit("QL4K").Run({"speed", "1"}).Report(),
        testing::ContainsRegex("GetSounderType\\(\\)\nSpeed ticks: [0-9]+\nSpeed ticks: [0-9]+\nTest Result: "
                               "Test Passed.\n$"));
}
