#include "tests/endtoend/VirtualUnit.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <thread>

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{
namespace fs = std::filesystem;

const std::string c_ShortTable = SONARBENCH_SOURCE "/examples/short.txt";

/// A program for a unit, written in shell.
class CScript
{
public:
    explicit CScript(const std::string& text) : m_File("#!/bin/sh\n" + text, "program")
    {
        fs::permissions(m_File.Path(), fs::perms::owner_all);
    }
    UnitRunResult_T RunOn(CVirtualUnit unit, const std::vector<std::string>& arguments = {}) const
    {
        return unit.Option("--program").Option(m_File.Path()).Run(arguments);
    }

private:
    CTestFile m_File;
};
} // namespace

TEST(Simulator, WrongUsageIsNamedAndEndsWith2)
{
    const std::pair<std::array<std::string, 2>, std::string> cases[] = {
        {{"--product", "QL9"}, "there is no product \"QL9\"; --list-products shows them\n"},
        {{"--firmware-version", "256"}, "\"256\" is no firmware version; it is a number from 0 to 255\n"},
        {{"--set", "/etc/passwd=x"}, "\"/etc/passwd\" is no file of a unit; "},
        {{"--set", "/sys/../etc/passwd=x"}, "\"/sys/../etc/passwd\" is no file of a unit; "},
        {{"--set", "/sys/x"}, "\"/sys/x\" is not of the form FILE=VALUE\n"},
        {{"--fault", "write:1=SOMETIMES"}, "write:1=SOMETIMES"},
        {{"--frequency", "3"}, "Unknown option 'frequency'.\n"},
    };
    for (const auto& [words, text] : cases) {
        const auto run = CVirtualUnit().Option(words[0]).Option(words[1]).Run({"sensepin"});
        EXPECT_EQ(run.status, 2) << words[1];
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, StartsWith("sonarbench-sim: ")) << words[1];
        EXPECT_THAT(run.errors, HasSubstr(text));
    }
}

TEST(Simulator, ItsOwnFailuresEndWith3)
{
    const CTestFile scene("{\"bottom\": {\"depth\": \"deep\"}}", "scene.json");
    const std::pair<std::array<std::string, 2>, std::string> cases[] = {
        {{"--program", "/nowhere/sonarbench"}, "there is no program /nowhere/sonarbench\n"},
        {{"--scene", scene.Path()}, "depth"},
        {{"--scene", "/nowhere.json"}, "/nowhere.json"},
        {{"--keep", "/usr"}, "/usr exists already"},
        {{"--trace", "/nowhere/trace"}, "/nowhere/trace"},
        {{"--copy", "/VERSION=/nowhere"}, "cannot read /nowhere\n"},
    };
    for (const auto& [words, text] : cases) {
        const auto run = CVirtualUnit().Option(words[0]).Option(words[1]).Run({"sensepin"});
        EXPECT_EQ(run.status, 3) << words[0];
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, testing::AllOf(StartsWith("sonarbench-sim: "), HasSubstr(text)));
    }
}

TEST(Simulator, StreamsAndStatusAreTheProgramsOwn)
{
    const auto run = CScript("printf 'out\\n'; printf 'err' >&2; exit 42").RunOn(CVirtualUnit());
    EXPECT_EQ(run.status, 42);
    EXPECT_EQ(run.output, "out\n");
    EXPECT_EQ(run.errors, "err");
    EXPECT_EQ(CScript("kill -KILL $$").RunOn(CVirtualUnit()).status, 128 + 9);
}

TEST(Simulator, WhatTheDeviceWouldNotUnderstandIsLoud)
{
    const std::pair<std::string, std::string> cases[] = {{"write:435302000000000101", "Version"},
                                                         {"ioctl:80047207", "80047207"}};
    for (const auto& [operation, text] : cases) {
        const auto run = CScript("echo 1 > /sys/devices/platform/varrow/sonar_power\n"
                                 "cat /corvane/Application/QuenlorSounder/FPGAFirmware/* > /dev/LSfpga0\n"
                                 "exec " SONARBENCH_DEVICE_CALL " /dev/LSfpga0 ioctl:80047202 " +
                                 operation)
                             .RunOn(CVirtualUnit());
        EXPECT_EQ(run.status, 3) << operation;
        EXPECT_THAT(run.errors, HasSubstr("sonarbench-sim: the device refused: "));
        EXPECT_THAT(run.Trace("refused"), testing::ElementsAre(HasSubstr(text)));
    }
}

TEST(Simulator, WithoutPowerNothingAnswers)
{
    // The switch is a directory here, which the program cannot write, and the version register stays silent.
    const auto run = CVirtualUnit("HZ02")
                         .Set("/sys/devices/platform/varrow/product_id", "QL3B")
                         .Set("/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage1_raw", "500")
                         .Run({"loadfpgabinary"});
    EXPECT_THAT(run.output, HasSubstr("ERROR: Cannot enable Sonar.\n"));
    const auto unpowered = CScript("cat /corvane/Application/QuenlorSounder/FPGAFirmware/* > /dev/LSfpga0\n")
                               .RunOn(CVirtualUnit());
    EXPECT_THAT(unpowered.Trace("image"), Contains(HasSubstr("no power")));
}

TEST(Simulator, TheUnitHasItsOwnFilesAndTheCallersArguments)
{
    const CTestFile argument("seen\n");
    const CScript script(
        "cat \"$1\" /VERSION /corvane/Config/SerialNumber; ls /tmp; : > /tmp/mark; : > /dev/LSfpga7; "
        "echo $PRODUCT_ID");
    ::setenv("PRODUCT_ID", "N41007", 1);
    const auto run = script.RunOn(CVirtualUnit(), {argument.Path()});
    ::unsetenv("PRODUCT_ID");
    EXPECT_THAT(run.output, StartsWith("seen\n2.6.1\nQS1000123\n"));
    EXPECT_THAT(run.output, EndsWith("\n\n"));
    EXPECT_FALSE(fs::exists("/tmp/mark"));
    EXPECT_FALSE(fs::exists("/dev/LSfpga7"));
}

TEST(Simulator, KeepsTheUnitsFilesWhenAsked)
{
    const CTestFile place("");
    const fs::path kept = place.Path().parent_path() / "kept";
    CVirtualUnit("QL1A").Option("--keep").Option(kept).Run({"sensepin"});
    EXPECT_EQ(ContentsOf(kept / "sys/devices/platform/varrow/sonar_power"), "1");
    EXPECT_EQ(ContentsOf(kept / "tmp/stop_sonar"), "");
    EXPECT_EQ(ContentsOf(kept / "tmp/sounder_state"), "stopped\n");
    EXPECT_EQ(ContentsOf(kept / "VERSION"), "2.6.1\n");
}

TEST(Simulator, TheSameUnitGivesTheSameBytesAndAnotherSeedOthers)
{
    const auto run = [](const std::string& seed) {
        const CTestFile scene("{\"bottom\": {\"depth\": 12.5}, \"seed\": " + seed + "}", "scene.json");
        return CVirtualUnit("QL5K")
            .Option("--scene")
            .Option(scene.Path())
            .Run({"xkping", c_ShortTable, "0", "1"});
    };
    const auto first = run("1");
    const auto again = run("1");
    const auto other = run("2");
    EXPECT_EQ(first.trace, again.trace);
    EXPECT_EQ(first.output, again.output);
    EXPECT_NE(first.trace, other.trace);
}

TEST(Simulator, RunsSideBySideDoNotDisturbEachOtherAndLeaveNothing)
{
    const CTestFile place("");
    const fs::path directory = place.Path().parent_path();
    ::setenv("TMPDIR", directory.c_str(), 1);
    const auto expected = CVirtualUnit("QL4K").Run({"xkping", c_ShortTable, "0", "1"}).output;
    std::array<int, 8> failures{};
    std::vector<std::thread> threads;
    for (int& count : failures) {
        threads.emplace_back([&count, &expected] {
            for (int i = 0; i < 12; ++i) {
                count +=
                    CVirtualUnit("QL4K").Run({"xkping", c_ShortTable, "0", "1"}).output != expected ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ::unsetenv("TMPDIR");
    EXPECT_THAT(failures, testing::Each(0));
    fs::remove(place.Path());
    EXPECT_TRUE(fs::is_empty(directory));
}

TEST(Simulator, ProotServesWhereNamespacesAreRefused)
{
    // A bwrap that fails, found before the real one.
    const CTestFile refused("#!/bin/sh\nexit 1\n", "bwrap");
    fs::permissions(refused.Path(), fs::perms::owner_all);
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", (refused.Path().parent_path().string() + ":" + path).c_str(), 1);
    const auto run = CVirtualUnit("QL4K").Run({"xkping", c_ShortTable, "0", "1"});
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, CVirtualUnit("QL4K").Run({"xkping", c_ShortTable, "0", "1"}).output);
}
