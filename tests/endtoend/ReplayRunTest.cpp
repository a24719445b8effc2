#include "tests/endtoend/GoldenTrace.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <sstream>

using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{
using Words_T = std::vector<std::string>;

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
std::string WhatIsWrong(const TraceFile_T& done, const std::string& device)
{
    std::istringstream text(device);
    try {
        return DifferenceOf(done, ReadTrace(text, "file"));
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

/// A golden trace with a piece of its text replaced.
std::string Changed(const Golden_T& golden, const std::string& from, const std::string& to)
{
    std::string text = Source(PathOf(golden));
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
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
                                  .Option("--replay", directory.Write("recorded", recorded.traceText))
                                  .RunScript(row.script, row.arguments);
        const std::string page = directory.Read("recorded.html");
        EXPECT_EQ(directory.Read("replayed.html"), page);
        pagesWithRange += page.find("range, m") != page.npos ? 1 : 0;
        EXPECT_EQ(replayed.traceText, recorded.traceText);
        EXPECT_EQ(replayed.output, recorded.output);
        EXPECT_EQ(replayed.status, 0) << replayed.errors;
    }
    EXPECT_GE(pagesWithRange, 4);
}

TEST(ReplayRun, AChangedTraceFailsWithTheExactPlace)
{
    const TemporaryDirectory directory;
    const auto& [xkping, ping, lumet, lowscan] = c_Goldens;
    const std::tuple<const Golden_T&, std::string, std::string, std::string> cases[] = {
        {xkping, "| 5b | 5b", "| 5b | 5c",
         "42: operation 5: write of 222 bytes on LSfpga0, byte 81: expected 0x5c, got 0x5b"},
        {lowscan, "31 0a", "30 0a",
         "10: operation 1: image of 1035 bytes on LSfpga0, byte 0: expected 0x30, got 0x31"},
        {ping, "00 00 00 0a", "00 00 00 0b",
         "49: operation 14: write of 8 bytes on ttyO1, byte 6: expected 0x0b, got 0x0a"},
        {lumet, "- LSfpga0 reply 2 ~2e03 # Ch0.FifoStatus=0x04\n    0404",
         "- LSfpga0 reply 2 0404\n- LSfpga0 write - 01",
         "85: operation 11: expected write of 1 byte on LSfpga0, got the end; operations left over: 1"},
    };
    for (const auto& [golden, from, to, text] : cases) {
        const std::string trace = directory.Write("trace", Changed(golden, from, to));
        const auto run = Replay(trace, golden.arguments);
        EXPECT_EQ(run.status, 3);
        EXPECT_EQ(run.errors,
                  "sonarbench-sim: the program departs from the trace: " + trace + ":" + text + "\n");
    }
}

TEST(ReplayRun, NoChangedByteOfATraceIsTakenForTheDevice)
{
    for (const Golden_T& golden : c_Goldens) {
        const std::string text = Source(PathOf(golden));
        std::istringstream whole(text);
        const TraceFile_T trace = ReadTrace(whole, "file");
        EXPECT_EQ(WhatIsWrong(trace, text), "");
        std::size_t changes = 0;
        std::size_t begin = 0;
        std::size_t number = 0;
        std::size_t entry = 0;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line); begin += line.size() + 1) {
            entry = line.starts_with("- ") ? number + 1 : entry;
            ++number;
            // The digits of bytes in lines of their own, not of their repeat count.
            const std::size_t end = std::min(line.find_first_of("#*"), line.size());
            for (std::size_t at = 4; line.starts_with("    ") && at < end; at += 9) {
                if (line.find_first_of("0123456789abcdef", at) == at) {
                    std::string changed = text;
                    changed[begin + at] = line[at] == '0' ? '1' : '0';
                    EXPECT_THAT(WhatIsWrong(trace, changed),
                                AnyOf(StartsWith("file:" + std::to_string(number) + ": operation "),
                                      StartsWith("file:" + std::to_string(entry) + ": the checksum is ")));
                    ++changes;
                }
            }
        }
        EXPECT_GT(changes, 40U);
    }
}

TEST(ReplayRun, ATraceThatCannotBeReplayedIsWrongUsage)
{
    const TemporaryDirectory directory;
    const std::string noProduct = directory.Write("product", "sonarbench trace 2\nunit QL9\n");
    const std::string noDevice =
        directory.Write("device", "sonarbench trace 2\nunit QL4K\n- LSfpga9 write - 01\n");
    const std::string noTrace = directory.Write("empty", "");
    const std::pair<CVirtualUnit, std::string> cases[] = {
        {CVirtualUnit("").Option("--replay", "/nowhere"),
         "cannot read the trace /nowhere: No such file or directory\n"},
        {CVirtualUnit("").Option("--replay", directory.Path()),
         "sonarbench-sim: cannot read the trace " + directory.Path() + ": Is a directory\n"},
        {CVirtualUnit("").Option("--replay", noTrace),
         noTrace + ":1: the trace ends before it names its unit"},
        {CVirtualUnit("").Option("--replay", noProduct),
         noProduct + ":2: unknown product QL9 (--list-products lists them)\n"},
        {CVirtualUnit("").Option("--replay", noDevice), noDevice + ":3: the unit QL4K has no device LSfpga9"},
        {CVirtualUnit("").Option("--replay", noTrace).Fault("write:1=EIO"),
         "--fault cannot go with --replay: "},
    };
    for (const auto& [unit, text] : cases) {
        const auto run = unit.Run({"sensepin"});
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.errors, HasSubstr(text));
    }
}
