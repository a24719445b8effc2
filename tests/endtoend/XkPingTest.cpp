#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>

#include <algorithm>

using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{
const std::string c_ShortTable = "examples/short.txt";
const std::string c_LoadQl4k =
    "cat /corvane/Application/QuenlorSounder/FPGAFirmware/QL4K_5K_A2_* > /dev/LSfpga0\n";
const std::string c_Loaded =
    "Loading FPGA...\nIf unit segfaults below (CFPGAIF constructor), check CSonarTestController constructor "
    "defines all "
    "the product ids (eg: PRODUCT_ID_Varrow) required by QLSounderType_T SounderInfo::GetSounderType "
    "GetSounderType()\n";
/// The text between the sample markers.
std::string BlockOf(const UnitRun_T& run)
{
    const std::string begin = "\n<SonarFPGAData>";
    const std::size_t at = run.output.find(begin) + begin.size();
    return run.output.substr(at, run.output.find("<EndSonarFPGAData>\n") - at);
}
} // namespace

TEST(XkPing, PrintsTheSamplesAndTheVerdict)
{
    const auto run = XkPing(CVirtualUnit("QL4K"));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    const std::string block = BlockOf(run);
    EXPECT_EQ(std::ranges::count(block, ','), 1023);
    EXPECT_EQ(run.output,
              c_LoadQl4k + "\n<SonarFPGAData>" + block +
                  "<EndSonarFPGAData>\nElement: 1 Centre Freq: 2000 & RxBand: PingConfigRxBand_HF\n"
                  "\nSamples: 1024 Buffer Bytes: 2048\n" +
                  ReportHead({"xkping", c_ShortTable, "0", "1"}) + c_Loaded + c_Passed);
    // 1000 does not divide 1024; the next lower number that does is 512.
    const std::string first = block.substr(0, block.find(',') + 1);
    EXPECT_THAT(BlockOf(XkPing(CVirtualUnit("QL5K"), "1000")), testing::MatchesRegex(first + "[0-9]+,"));
}

TEST(XkPing, OnTheQl6mChannelZeroUsesTheSecondFpga)
{
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"1", "1", "LSfpga0"}, {"0", "0", "LSfpga1"}, {"256", "0", "LSfpga1"}};
    for (const auto& [channel, shown, device] : cases) {
        const auto run = CVirtualUnit("QL6M").Run({"xkping", c_ShortTable, channel, "4"});
        EXPECT_THAT(run.output, HasSubstr("<EndSonarFPGAData>\nChannel: " + shown + " Element: 1 Centre"));
        EXPECT_EQ(run.Report(), c_Loaded + c_Passed);
        for (const std::string direction : {"write", "ioctl", "fill"}) {
            EXPECT_THAT(run.Trace(direction), Not(testing::IsEmpty()));
            EXPECT_THAT(run.Trace(direction), Each(HasSubstr(" " + device + " ")));
        }
        // The band goes to the filter register, and no channel filter byte follows. The larger FPGA has a
        // faster clock: 200000 x 2^32 / 86560000 = 0x976C5C.
        const auto writes = run.Trace("write");
        EXPECT_THAT(writes, Not(Contains(HasSubstr("ChannelFilter=0xde"))));
        for (const char* sent : {"ChannelFilter=0x00", "AdcFrequency=0x03",
                                 "CentreFrequency0=0x5c; CentreFrequency1=0x6c; CentreFrequency2=0x97"}) {
            EXPECT_THAT(writes, Contains(HasSubstr(sent)));
        }
    }
}

TEST(XkPing, DeviceFailuresAreReported)
{
    // Writes 1 and 2 are the log requests, 3 to 7 the configuration, 8 the ping, 9 the samples, 10 the FIFO
    // status.
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"write:*=EIO"},
         "ERROR: UpdateFPGA failed with error code: 5. (Is the Sounder app running?)\n\n\n\n//"},
        // The configuration counts as sent if one transfer succeeds.
        {{"write:3=EIO", "write:4=EIO", "write:5=EIO", "write:6=EIO"}, c_Passed},
        {{"write:8=ENODEV"}, "ERROR: Ping failed with error code: 19.\n\n\n\n//"},
        // The code comes from the FIFO check afterwards, which clears the FIFO when it gets no status.
        {{"write:9=EIO", "write:10=EIO", "write:11=ENODEV"},
         "ERROR: Get ping failed with error code: 19.\n" + c_Passed},
        {{"ioctl:1=EIO"}, c_Passed},
    };
    for (const auto& [faults, text] : cases) {
        CVirtualUnit unit("QL4K");
        for (const std::string& fault : faults) {
            unit.Fault(fault);
        }
        const auto run = XkPing(unit);
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_THAT(run.Report(), StartsWith(c_Loaded + text)) << faults[0];
    }
    // A failed log request is printed at once. A FIFO with a wrong status is cleared.
    EXPECT_THAT(XkPing(CVirtualUnit("QL4K").Fault("write:1=EIO")).output,
                StartsWith(c_LoadQl4k + "SetOutputDataToLog\n\n<SonarFPGAData>"));
    EXPECT_EQ(XkPing(CVirtualUnit("QL4K").Fault("fifo:1=5")).Calls().back(), "write 435351000000000202");
}
