#include "tests/endtoend/GoldenTrace.h"
#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>
#include <regex>

using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace
{
const std::string c_Golden = SONARBENCH_SOURCE "/tests/golden/xkping_ql4k";
const std::string c_ShortTable = SONARBENCH_SOURCE "/examples/short.txt";
const std::string c_FullTable = SONARBENCH_SOURCE "/examples/full.txt";

constexpr char c_LoadQl4k[] =
    "cat /corvane/Application/QuenlorSounder/FPGAFirmware/QL4K_5K_A2_* > /dev/LSfpga0\n";
constexpr char c_Notice[] =
    "If unit segfaults below (CFPGAIF constructor), check CSonarTestController constructor defines all the "
    "product "
    "ids (eg: PRODUCT_ID_Varrow) required by QLSounderType_T SounderInfo::GetSounderType GetSounderType()\n";

/// What a run prints before the report, and after it the handler's text and the verdict.
std::string AfterHead(const UnitRunResult_T& run)
{
    const std::size_t head = run.output.find("Test Output: \n");
    EXPECT_NE(head, std::string::npos) << run.output;
    return run.output.substr(head + std::string("Test Output: \n").size());
}

/// The numbers between the sample markers.
std::vector<int> SamplesOf(const std::string& output)
{
    const std::size_t begin = output.find("<SonarFPGAData>") + std::string("<SonarFPGAData>").size();
    const std::string block = output.substr(begin, output.find("<EndSonarFPGAData>") - begin);
    std::vector<int> samples;
    const std::regex number("[0-9]+");
    for (std::sregex_iterator match(block.begin(), block.end(), number), end; match != end; ++match) {
        samples.push_back(std::stoi(match->str()));
    }
    return samples;
}
} // namespace

TEST(XkPing, SendsByteForByteWhatTheWireRulesSay)
{
    const auto run = CVirtualUnit("QL4K").Run({"xkping", c_Golden + ".txt", "0", "1"});
    EXPECT_EQ(run.status, 0) << run.errors;
    const auto expected = ReadGolden(c_Golden + ".golden");
    const auto calls = CallsOf(run.trace);
    ASSERT_EQ(calls.size(), expected.size());
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(calls[i], expected[i]) << "operation " << i + 1;
    }
}

TEST(XkPing, PrintsTheSamplesAndTheVerdict)
{
    const std::vector<std::string> arguments = {"xkping", c_ShortTable, "0", "1"};
    const auto run = CVirtualUnit("QL4K").Run(arguments);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    const auto samples = SamplesOf(run.output);
    EXPECT_THAT(samples, SizeIs(1024));

    std::string block;
    for (const int sample : samples) {
        block += (block.empty() ? "" : ",") + std::to_string(sample);
    }
    EXPECT_EQ(run.output,
              c_LoadQl4k + ("\n<SonarFPGAData>" + block) +
                  "<EndSonarFPGAData>\nElement: 1 Centre Freq: 2000 & RxBand: PingConfigRxBand_HF\n"
                  "\nSamples: 1024 Buffer Bytes: 2048\n" +
                  ReportHead(arguments) + "Loading FPGA...\n" + c_Notice + "Test Result: Test Passed.\n");
}

TEST(XkPing, StepsThroughTheSamples)
{
    const auto all = SamplesOf(CVirtualUnit("QL5K").Run({"xkping", c_ShortTable, "0", "0"}).output);
    const auto run = CVirtualUnit("QL5K").Run({"xkping", c_ShortTable, "0", "1000"});
    EXPECT_THAT(run.output, HasSubstr(",<EndSonarFPGAData>\n"));
    // 1000 does not divide 1024, and the next number below that does is 512.
    ASSERT_THAT(all, SizeIs(1024));
    EXPECT_EQ(SamplesOf(run.output), (std::vector<int>{all[0], all[512]}));
}

TEST(XkPing, WritesAFullConfigurationInAsFewTransfersAsTheBoundAllows)
{
    const auto run = CVirtualUnit("QL4K").Run({"xkping", c_FullTable, "0", "1"});
    EXPECT_THAT(run.output, EndsWith("Test Result: Test Passed.\n"));
    // What came out of the program is packed anew: a packet goes into the current transfer unless its payload
    // and what is in there already reach 5,057 bytes.
    std::size_t transfers = 1;
    std::size_t filled = 0;
    std::size_t writes = 0;
    for (const std::string& line : run.Trace("write")) {
        if (line.find("# ping read") != std::string::npos ||
            line.find("OutputDataToLog") != std::string::npos ||
            line.find("FifoStatus") != std::string::npos) {
            continue;
        }
        ++writes;
        std::string bytes = CallsOf({line}).front().substr(6);
        while (!bytes.empty()) {
            const std::size_t payload =
                std::stoul(bytes.substr(12, 2) + bytes.substr(10, 2), nullptr, 16) + 1;
            if (filled + payload >= 5057) {
                ++transfers;
                filled = 0;
            }
            filled += payload + 8;
            bytes.erase(0, 2 * (payload + 8));
        }
    }
    // The ping's command goes out in a transfer of its own.
    EXPECT_EQ(writes, transfers + 1);
    EXPECT_GT(writes, 5U);
}

TEST(XkPing, ElementsOfTheQl6mUseItsFpgasCrosswise)
{
    for (const auto& [channel, device] :
         {std::pair("1", "LSfpga0"), std::pair("0", "LSfpga1"), std::pair("256", "LSfpga1")}) {
        const auto run = CVirtualUnit("QL6M").Run({"xkping", c_ShortTable, channel, "4"});
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_THAT(run.output, HasSubstr("<EndSonarFPGAData>\nChannel: " +
                                          std::string(channel == std::string("1") ? "1" : "0") +
                                          " Element: 1 Centre Freq: 2000"));
        EXPECT_THAT(run.output, EndsWith("Test Result: Test Passed.\n"));
        EXPECT_THAT(run.Trace("write"), Not(IsEmpty()));
        EXPECT_THAT(run.Trace("write"), Each(HasSubstr(std::string(" ") + device + " ")));
        EXPECT_THAT(run.Trace("ioctl"), Each(HasSubstr(std::string(" ") + device + " ")));
        // The band goes to the filter selection register, and no channel filter byte follows.
        EXPECT_THAT(run.trace, testing::Contains(HasSubstr("ChannelFilter=0x00")));
        EXPECT_THAT(run.trace, Not(testing::Contains(HasSubstr("ChannelFilter=0xde"))));
    }
}

TEST(XkPing, IsRefusedOnOtherProducts)
{
    for (const std::string product : {"Varrow", "LumetV2", "Nr1", "HY05"}) {
        const auto run = CVirtualUnit(product).Run({"xkping", c_ShortTable, "0", "1"});
        EXPECT_THAT(AfterHead(run), HasSubstr("Loading FPGA...\nERROR: Use only for xK derivitives.\n"))
            << product;
        EXPECT_THAT(run.output, EndsWith("Test Result: Tests Failed.\n"));
        EXPECT_THAT(run.Trace("write"), IsEmpty());
    }
}

TEST(XkPing, DeviceFailuresAreNamed)
{
    struct Case_T {
        std::vector<std::string> faults;
        std::string message; ///< in the report
        std::string verdict;
    };
    const std::string failed = "Test Result: Tests Failed.\n";
    const std::string passed = "Test Result: Test Passed.\n";
    // Writes 1 and 2 are the log requests, 3 to 7 the configuration, 8 the ping, 9 the samples, 10 the FIFO
    // status.
    const Case_T cases[] = {
        {{"write:*=EIO"},
         "ERROR: UpdateFPGA failed with error code: 5. (Is the Sounder app running?)\n",
         failed},
        // One transfer that got through is enough for the configuration to count as sent.
        {{"write:3=EIO", "write:4=EIO", "write:5=EIO", "write:6=EIO"}, c_Notice + passed, passed},
        {{"write:8=ENODEV"}, "ERROR: Ping failed with error code: 19.\n", failed},
        {{"write:9=EIO"}, "ERROR: Get ping failed with error code: 0.\n", passed},
        // The code is that of the FIFO check afterwards, which clears the FIFO when it gets no status.
        {{"write:9=EIO", "write:10=EIO", "write:11=ENODEV"},
         "ERROR: Get ping failed with error code: 19.\n",
         passed},
        {{"ioctl:1=EIO"}, c_Notice + passed, passed},
        {{"reply:1=checksum"}, c_Notice + passed, passed},
    };
    for (const Case_T& each : cases) {
        CVirtualUnit unit("QL4K");
        for (const std::string& fault : each.faults) {
            unit.Fault(fault);
        }
        const auto run = unit.Run({"xkping", c_ShortTable, "0", "1"});
        EXPECT_EQ(run.status, 0) << each.faults[0] << run.errors;
        EXPECT_THAT(AfterHead(run), HasSubstr(each.message)) << each.faults[0];
        EXPECT_THAT(run.output, EndsWith(each.verdict)) << each.faults[0];
    }
    // A log request that does not go out is told where it happens.
    EXPECT_THAT(CVirtualUnit("QL4K").Fault("write:1=EIO").Run({"xkping", c_ShortTable, "0", "1"}).output,
                StartsWith(std::string(c_LoadQl4k) + "SetOutputDataToLog\n\n<SonarFPGAData>"));
}

TEST(XkPing, AFifoThatIsNotInItsNormalStateIsCleared)
{
    for (const std::string fault : {"fifo:1=5", "reply:1=silent"}) {
        const auto run = CVirtualUnit("QL4K").Fault(fault).Run({"xkping", c_ShortTable, "0", "1"});
        EXPECT_THAT(CallsOf(run.trace).back(), "write 435351000000000202") << fault;
        EXPECT_THAT(run.output, EndsWith("Test Result: Test Passed.\n"));
    }
}

TEST(XkPing, EveryFilterByteNamesItsElementAndBand)
{
    const std::string table = ContentsOf(c_Golden + ".txt");
    const std::pair<std::string, std::string> cases[] = {
        {"222", "Element: 1 Centre Freq: 2000 & RxBand: PingConfigRxBand_HF\n"},
        {"238", "Element: 1 Centre Freq: 2000 & RxBand: PingConfigRxBand_MF\n"},
        {"245", "Element: 0 Centre Freq: 2000 & RxBand: PingConfigRxBand_LF\n"},
        {"246", "Element: 1 Centre Freq: 2000 & RxBand: PingConfigRxBand_LF\n"},
        {"254", "ERROR: No valid channel filter byte: 254.\n"},
        {"x", "ERROR: No valid channel filter byte: 0.\n"},
    };
    for (const auto& [byte, text] : cases) {
        std::string changed = table;
        const CTestFile file(changed.replace(changed.find("222"), 3, byte));
        EXPECT_THAT(CVirtualUnit("QL4K").Run({"xkping", file.Path(), "0", "1"}).output, HasSubstr(text));
    }
}
