#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{
using Samples_T = std::vector<int>;

Words_T Ping(const std::string& channel)
{
    return {"ping", "200000", "210000", "27", "45", channel, "medium"};
}

/// The printed samples.
Samples_T Printed(const UnitRun_T& run)
{
    const std::string begin = "<SonarFPGAData>";
    Samples_T samples;
    for (std::size_t at = run.output.find(begin) + begin.size(); run.output[at] != '<'; at += 3) {
        samples.push_back(std::stoi(run.output.substr(at, 3)));
    }
    return samples;
}

/// The samples that a device sent last: its bytes, without the framing when they are a ping packet.
Samples_T Sent(const UnitRun_T& run, const std::string& device, const std::string& direction, bool isPacket)
{
    const Words_T lines = run.Trace(direction);
    EXPECT_THAT(lines, Contains(HasSubstr(" " + device + " ")));
    const std::string bytes = lines.empty() ? "" : BytesOf(lines.back());
    Samples_T samples;
    for (std::size_t i = 0; i < bytes.size() / 2; ++i) {
        const bool isFrame = isPacket && (i < 2 || (i - 2) % 132 >= 128 || i == bytes.size() / 2 - 1);
        if (!isFrame) {
            samples.push_back(std::stoi(bytes.substr(2 * i, 2), nullptr, 16));
        }
    }
    return samples;
}
} // namespace

TEST(Links, EverySampleIsPrintedAsTheDeviceSentIt)
{
    struct Row_T {
        const char* product;
        Words_T arguments;
        const char* device;
        bool isPacket = true;
        const char* direction = "reply";
    };
    const Row_T rows[] = {
        {"Varrow", Ping("0"), "ttyO1"},
        {"VarrowX", Ping("1"), "ttyO3", true, "unasked"},
        {"QL2A", Ping("7"), "ttyO3", true, "unasked"},
        {"LumetV2", {"lumetping", "200long"}, "LSfpga0", false, "fill"},
        {"LumetV1", {"lowscanping", "350long"}, "LSfpga0", false, "fill"},
    };
    for (const Row_T& row : rows) {
        const auto run = CVirtualUnit(row.product).Run(row.arguments);
        const Samples_T sent = Sent(run, row.device, row.direction, row.isPacket);
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(sent.size(), row.isPacket ? 993U : 1024U) << row.product;
        EXPECT_EQ(Printed(run), sent) << row.product;
        // Bytes that a terminal line could drop or change.
        for (const int control : {10, 13, 17, 19}) {
            EXPECT_THAT(sent, Contains(control)) << row.product;
        }
    }
}

TEST(Links, AnEnvironmentCanSelectTheLowscanFpgaOnSpi)
{
    const TemporaryDirectory directory;
    const std::string scene = directory.Write("scene", R"({"water": {"temperature": 20}})");
    const std::string script =
        "PRODUCT_ID=Nx FPGA_CHANNEL_0_COMMS=/dev/LSfpga0 exec " SONARBENCH_PROGRAM " \"$@\"";
    const auto unit = CVirtualUnit("none").Option("--scene", scene);
    EXPECT_THAT(unit.RunScript(script, {"watertemperature"}).Report(),
                StartsWith("Firmware Version: 1.0\n20\n"));
    for (const std::string channel : {"0", "1"}) {
        const auto run = unit.RunScript(script, Ping(channel));
        EXPECT_EQ(run.status, 0) << run.errors;
        const Samples_T sent = Sent(run, "LSfpga0", "reply", true);
        EXPECT_EQ(sent.size(), 993U);
        EXPECT_EQ(Printed(run), sent);
    }
}

TEST(Links, FaultsOfASerialLineAreReportedAndSlownessDoesNoHarm)
{
    const std::string version = "ERROR: Failed to get version.\n", passed = "Test Result: Test Passed.\n",
                      failed =
                          "Call to Lowscan function from CSonarTestController Failed, return value: -171\n";
    const std::pair<const char*, std::string> rows[] = {{"reply:*=silent", version},
                                                        {"reply:2=dropped", failed},
                                                        {"reply:1=late", version},
                                                        {"reply:1=corrupted", "Version: 17.16\n"},
                                                        {"reply:2=corrupted", passed}};
    for (const auto& [fault, text] : rows) {
        const auto run = CVirtualUnit("Varrow").Fault(fault).Run(Ping("0"));
        EXPECT_THAT(run.output, HasSubstr(text)) << fault;
        EXPECT_EQ(run.status, 0) << run.errors;
    }
    const auto run = CVirtualUnit("Varrow").Fault("reply:*=bytewise").Run(Ping("0"));
    EXPECT_EQ(run.output, CVirtualUnit("Varrow").Run(Ping("0")).output);
    EXPECT_THAT(CVirtualUnit("QL4K").Fault("reply:1=slow").Run({"loadfpgabinary"}).output, HasSubstr(passed));
}

TEST(Links, APingOnAChannelThatDoesNotExistIsFiredAndFails)
{
    const auto run = CVirtualUnit("Varrow").Run(Ping("2"));
    EXPECT_THAT(run.output, HasSubstr("Invalid channel Specified: 2\n"));
    EXPECT_THAT(run.output,
                HasSubstr("\nParameters:\nCh0Period = 45; Ch1Period = 45 ; Start freq = 200000.000000; "
                          "End freq = 210000.000000; Decimation rate = 76 ; Samples = 993\n"
                          "\n<SonarFPGAData>"));
    EXPECT_THAT(run.Report(), HasSubstr("\nChannel must be 1 or 0.\n\n\n\n//"));
    EXPECT_EQ(run.Calls().back(), "write f5000100000001f7");
}

TEST(Links, WhatALinkCannotDoIsReported)
{
    const Words_T lumetping = {"lumetping", "200long"};
    const std::tuple<CVirtualUnit, Words_T, std::string> cases[] = {
        {CVirtualUnit("QL5K"), Ping("0"),
         "ERROR: Do not use ping for Lumet or New QL derivitives. Use lumetping instead.\n"},
        {CVirtualUnit("LumetV2"),
         {"xkping", "examples/short.txt", "0", "1"},
         "Loading FPGA...\nERROR: Use only for xK derivitives.\n"},
        {CVirtualUnit("LumetV4"), {"lumetping", "200"}, "ERROR: Unknown frequency request.\n"},
        {CVirtualUnit("TessfinV1"), lumetping, "ERROR: Channel 0 (Sonar) does not exist. Will not ping.\n"},
        {CVirtualUnit("LumetV2"), lumetping,
         "Attempting ping on channel 0 (Sonar) at start frequency of: 12098499\n"},
        {CVirtualUnit("LumetV1"),
         {"lumetping", "350long"},
         "Attempting ping on channel 1 (Lowscan) at start frequency of: 21172373\n"},
        {CVirtualUnit("LumetV2").Fault("write:1=EIO"), lumetping,
         "ERROR: Failed to get version.\nERROR: Failed to populate FPGA data.\n"},
        {CVirtualUnit("LumetV2").Fault("write:2=EIO"), lumetping, "ERROR: UpdateFPGA failed.\n"},
        {CVirtualUnit("LumetV2").Fault("write:3=EIO"), lumetping, "ERROR: Ping failed.\n"},
        {CVirtualUnit("LumetV2").Fault("write:4=EIO"), lumetping, "ERROR: Get ping failed.\n"},
        {CVirtualUnit("Varrow").Set("/sys/devices/platform/varrow/water_temperature", "17.5"),
         {"watertemperature"},
         "Test Output: \n17.5\n\nTest Result: Operation Performed.\n"},
        {CVirtualUnit("Varrow"), {"watertemperature"}, "GetWaterTemp failed with return code: -174\n"},
        // At 2.5 m/s the wheel gives 50 ticks a second.
        {CVirtualUnit("QL4K"),
         {"speed", "1"},
         "GetSounderType()\nSpeed ticks: 50\nSpeed ticks: 100\nTest Result: Test Passed.\n"},
        // A reading takes two requests. Without the second, the first one's ticks are shown.
        {CVirtualUnit("QL4K").Fault("write:2=EIO"),
         {"speed", "1"},
         "GetSounderType()\nSpeed ticks: 50\nSpeed ticks: 100\nTest Result: Test Passed.\n"},
        // Without the first, the last good reading is shown again.
        {CVirtualUnit("QL4K").Fault("write:3=EIO"),
         {"speed", "1"},
         "GetSounderType()\nSpeed ticks: 50\nSpeed ticks: 50\nTest Result: Test Passed.\n"},
    };
    for (const auto& [unit, arguments, text] : cases) {
        EXPECT_THAT(unit.Run(arguments).output, HasSubstr(text));
    }
}
