#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"
#include "tests/support/Traces.h"

#include <cerrno>
#include <gmock/gmock.h>

namespace
{
struct Golden_T {
    std::string name;
    std::string product;
    Words_T arguments;
};

const Golden_T c_Goldens[] = {
    {"xkping_ql4k", "QL4K", {"xkping", "tests/golden/xkping_ql4k.txt", "0", "1"}},
    {"ping_varrow", "Varrow", {"ping", "200000", "210000", "27", "45", "0", "medium"}},
    {"lumetping_200long", "LumetV2", {"lumetping", "200long"}},
    {"lumetping_350long", "LumetV1", {"lowscanping", "350long"}},
};

std::string PathOf(const Golden_T& golden) { return "tests/golden/" + golden.name + ".golden"; }

UnitRun_T Replay(const std::string& trace, const Words_T& arguments)
{
    return CVirtualUnit("").Option("--replay", trace).Run(arguments);
}

/// Replays the operations of one trace on another one, given as text. Returns the first difference.
/// Everything fails after it, and after the end.
std::string WhatIsWrong(const TraceFile_T& done, const std::string& device)
{
    const TraceFile_T trace = ReadTraceText(device);
    CReplay replay(trace);
    std::string difference = Replayed(done, replay);
    EXPECT_EQ(replay.Answer("LSfpga0", DeviceOperation_T::Kind::Ioctl, 0x80047203, {}).error, EIO)
        << difference;
    return difference;
}
} // namespace

TEST(ReplayRun, AGoldenTraceGivesTheSameRunAsTheModel)
{
    for (const Golden_T& golden : c_Goldens) {
        const auto run = Replay(PathOf(golden), golden.arguments);
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.output, CVirtualUnit(golden.product).Run(golden.arguments).output) << golden.name;
    }
}

TEST(ReplayRun, ARecordedTraceReplaysToTheSameTraceAndPageOnEveryLink)
{
    struct Row_T {
        CVirtualUnit unit;
        Words_T arguments;
        std::string script = "exec " SONARBENCH_PROGRAM " \"$@\"";
    };
    const Words_T ping = {"ping", "200000", "210000", "27", "45", "1", "low"};
    const Row_T rows[] = {
        {CVirtualUnit("QL6M"), {"xkping", "examples/full.txt", "1", "4"}},
        {CVirtualUnit("LumetV4"), {"lumetping", "200long"}},
        {CVirtualUnit("VarrowX"), ping},
        {CVirtualUnit("none"), ping,
         "PRODUCT_ID=Nx FPGA_CHANNEL_0_COMMS=/dev/LSfpga0 exec " SONARBENCH_PROGRAM " \"$@\""},
        // Recorded faults are part of the trace.
        {CVirtualUnit("QL4K").Fault("ioctl:1=EIO"), {"xkping", "examples/short.txt", "0", "1"}},
        {CVirtualUnit("VarrowX").Fault("reply:*=bytewise").Fault("write:4=ENODEV"), ping},
        {CVirtualUnit("QL4K").Fault("write:2=short"), {"xkping", "examples/short.txt", "0", "1"}},
        // Also faults that no device sees.
        {CVirtualUnit("QL4K").Fault("read:1=zero"), {"loadfpgabinary"}},
        {CVirtualUnit("QL4K").Fault("device:9=gone"), {"xkping", "examples/short.txt", "0", "1"}},
    };
    int pagesWithRange = 0;
    for (const Row_T& row : rows) {
        const TemporaryDirectory directory;
        const std::string scene = directory.Write("scene", R"({"bottom": {"depth": 12}})");
        const auto recorded = CVirtualUnit(row.unit)
                                  .Option("--scene", scene)
                                  .Option("--report", directory.Path("recorded.html"))
                                  .RunScript(row.script, row.arguments);
        const auto replayed = CVirtualUnit("")
                                  .Option("--scene", scene)
                                  .Option("--report", directory.Path("replayed.html"))
                                  .Option("--replay", directory.Write("recorded", recorded.trace))
                                  .RunScript(row.script, row.arguments);
        const std::string page = directory.Read("recorded.html");
        EXPECT_EQ(directory.Read("replayed.html"), page);
        pagesWithRange += page.find("range, m") != page.npos ? 1 : 0;
        EXPECT_EQ(replayed.trace, recorded.trace);
        EXPECT_EQ(replayed.output, recorded.output);
        EXPECT_EQ(recorded.status, 0) << recorded.errors;
        EXPECT_EQ(replayed.status, 0) << replayed.errors;
    }
    EXPECT_GE(pagesWithRange, 4);
}

TEST(ReplayRun, TheFirstDifferenceIsReportedWithItsPlace)
{
    const std::string head = "sonarbench trace 2\nunit QL6M\n", image = "- LSfpga0 image - 310a\n",
                      write = "- LSfpga1 write - 010203\n", unasked = "- LSfpga1 unasked - 05\n";
    const std::string device = head + image + "- LSfpga1 write - 01\n 02 ??\n- LSfpga1 reply - 0304\n" +
                               unasked + "- LSfpga0 ioctl - 80047203+ !ETIMEDOUT\n";
    const std::pair<std::string, std::string> cases[] = {
        {image + write + unasked + "- LSfpga0 ioctl - 80047203+\n", ""},
        {"- LSfpga1 image - 310a\n",
         "3: operation 1: expected image of 2 bytes on LSfpga0, got image of 2 bytes on LSfpga1"},
        {image + "- LSfpga1 write - 010300\n" + write,
         "5: operation 2: write of 3 bytes on LSfpga1, byte 1: expected 0x02, got 0x03"},
        {image + "- LSfpga1 write - 01020304\n",
         "5: operation 2: write of 3 bytes on LSfpga1, byte 3: expected the end, got 0x04"},
        {image + write + unasked + "- LSfpga0 ioctl - 80047206+\n",
         "8: operation 4: expected ioctl 0x80047203 with 0 bytes on LSfpga0, got ioctl 0x80047206 with 0 "
         "bytes on LSfpga0"},
        {image + write + "- LSfpga0 unasked - 05\n",
         "7: operation 3: expected unasked of 1 byte on LSfpga1, got the end; operations left over: 2"},
        {image + write + unasked + "- LSfpga0 ioctl - 80047203+\n" + write + image,
         "8: operation 5: expected the end, got write of 3 bytes on LSfpga1"}};
    for (const auto& [done, text] : cases) {
        EXPECT_EQ(WhatIsWrong(ReadTraceText(head + done), device), (text.empty() ? "" : "file:") + text)
            << done;
    }
}

TEST(ReplayRun, AChangedTraceFailsWithTheExactPlace)
{
    const TemporaryDirectory directory;
    const Golden_T& golden = c_Goldens[0];
    const std::string trace =
        directory.Write("trace", Replaced(Source(PathOf(golden)), "| 5b | 5b", "| 5b | 5c"));
    const auto run = Replay(trace, golden.arguments);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.errors,
              "sonarbench-sim: the program departs from the trace: " + trace +
                  ":42: operation 5: write of 222 bytes on LSfpga0, byte 81: expected 0x5c, got 0x5b\n");
}
