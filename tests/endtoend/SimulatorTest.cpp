#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <array>
#include <gmock/gmock.h>
#include <thread>

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{
UnitRun_T Ping(const CVirtualUnit& unit) { return unit.Run({"xkping", "examples/short.txt", "0", "1"}); }
} // namespace

TEST(Simulator, WrongUsageEndsWith2AndItsOwnFailuresWith3)
{
    const TemporaryDirectory directory;
    const std::string scene = directory.Write("scene", R"({"bottom": {"depth": "deep"}})");
    const std::tuple<int, std::string, std::string, std::string> cases[] = {
        {2, "--product", "QL9", "there is no product \"QL9\"; --list-products shows them\n"},
        {2, "--firmware-version", "256", "\"256\" is no firmware version; it is a number from 0 to 255\n"},
        {2, "--set", "/etc/passwd=x", "\"/etc/passwd\" is no file of a unit; "},
        {2, "--set", "/sys/../etc/passwd=x", "\"/sys/../etc/passwd\" is no file of a unit; "},
        {2, "--set", "/sys/x", "\"/sys/x\" is not of the form FILE=VALUE\n"},
        {2, "--fault", "write:1=SOMETIMES", "write:1=SOMETIMES"},
        {2, "--frequency", "3", "Unknown option 'frequency'.\n"},
        {3, "--program", "/nowhere/sonarbench", "there is no program /nowhere/sonarbench\n"},
        {3, "--scene", scene, "depth"},
        {3, "--keep", "/usr", "/usr exists already"},
        {3, "--trace", "/nowhere/trace", "/nowhere/trace"},
        {3, "--calls", "/nowhere/counts", "/nowhere/counts"},
        {3, "--copy", "/VERSION=/nowhere", "cannot read /nowhere\n"},
    };
    for (const auto& [status, option, value, text] : cases) {
        const auto run = CVirtualUnit().Option(option, value).Run({"sensepin"});
        EXPECT_EQ(run.status, status) << value;
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, AllOf(StartsWith("sonarbench-sim: "), HasSubstr(text)));
    }
}

TEST(Simulator, StreamsAndStatusAreTheProgramsOwn)
{
    const auto run = CVirtualUnit().RunScript("printf 'out\\n'; printf 'err' >&2; exit 42");
    EXPECT_EQ(run.status, 42);
    EXPECT_EQ(run.output + "|" + run.errors, "out\n|err");
    EXPECT_EQ(CVirtualUnit().RunScript("kill -KILL $$").status, 128 + 9);
}

TEST(Simulator, WhatTheDeviceWouldNotUnderstandIsLoud)
{
    const std::string call = SONARBENCH_DEVICE_CALL " /dev/LSfpga0 ping || exit 9";
    const auto run = CVirtualUnit().RunScript(call);
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.errors, StartsWith("sonarbench-sim: the device refused: "));
    EXPECT_THAT(run.Trace("refused"), Not(IsEmpty()));
    EXPECT_EQ(CVirtualUnit().Fault("write:1=EIO").RunScript(call).status, 9)
        << "what a fault led to is no failure";
}

TEST(Simulator, TheUnitHasItsOwnFilesAndTheCallersArguments)
{
    const TemporaryDirectory directory;
    const auto run = CVirtualUnit()
                         .In("PRODUCT_ID=N41007")
                         .RunScript("cat \"$1\" /VERSION /corvane/Config/SerialNumber\n"
                                    ": > /tmp/sonarbench-mark; : > /dev/LSfpga7; echo \"<$PRODUCT_ID>\"",
                                    {directory.Write("argument", "seen\n")});
    EXPECT_EQ(run.output, "seen\n2.6.1\nQS1000123\n<>\n");
    EXPECT_FALSE(std::filesystem::exists("/tmp/sonarbench-mark") || std::filesystem::exists("/dev/LSfpga7"));
}

TEST(Simulator, KeepsTheUnitsFilesWhenAsked)
{
    const TemporaryDirectory directory;
    CVirtualUnit("QL1A").Option("--keep", directory.Path("unit")).Run({"sensepin"});
    EXPECT_EQ(directory.Read("unit/sys/devices/platform/varrow/sonar_power"), "1");
    EXPECT_TRUE(std::filesystem::exists(directory.Path("unit/tmp/stop_sonar")));
    EXPECT_EQ(directory.Read("unit/tmp/sounder_state") + directory.Read("unit/VERSION"), "stopped\n2.6.1\n");
}

TEST(Simulator, TheSameUnitGivesTheSameBytesAndAnotherSeedOthers)
{
    const TemporaryDirectory directory;
    const auto run = [&](const std::string& seed) {
        return Ping(
            CVirtualUnit("QL5K").Option("--scene", directory.Write("scene", "{\"seed\": " + seed + "}")));
    };
    const auto first = run("1");
    EXPECT_EQ(run("1").trace, first.trace);
    EXPECT_NE(run("2").trace, first.trace);
}

TEST(Simulator, RunsSideBySideDoNotDisturbEachOtherAndLeaveNothing)
{
    const TemporaryDirectory directory;
    const CVirtualUnit unit = CVirtualUnit().In("TMPDIR=" + directory.Path());
    const auto expected = Ping(unit);
    std::array<int, 8> failures{};
    std::vector<std::thread> threads;
    for (int& count : failures) {
        threads.emplace_back([&] {
            for (int i = 0; i < 13; ++i) {
                count += Ping(unit).trace != expected.trace ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(failures, testing::Each(0));
    EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
}

TEST(Simulator, ProotServesWhereNamespacesAreRefused)
{
    const TemporaryDirectory directory;
    std::filesystem::permissions(directory.Write("bwrap", "#!/bin/sh\nexit 1\n"),
                                 std::filesystem::perms::owner_all);
    const auto run = Ping(CVirtualUnit().In("PATH=" + directory.Path() + ":$PATH"));
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, Ping(CVirtualUnit()).output);
}
