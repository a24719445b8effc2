#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <future>
#include <gmock/gmock.h>
#include <sstream>

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
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
        {2, "--copy", "/sys/x", "\"/sys/x\" is not of the form FILE=PATH\n"},
        {2, "--fault", "write:1=SOMETIMES", "write:1=SOMETIMES"},
        {2, "--frequency", "3", "Unknown option 'frequency'.\n"},
        {3, "--program", "/nowhere/sonarbench", "there is no program /nowhere/sonarbench\n"},
        {3, "--scene", scene, "depth"},
        {3, "--keep", "/usr", "/usr exists already"},
        {3, "--trace", "/nowhere/trace", "/nowhere/trace"},
        {3, "--calls", "/nowhere/counts", "/nowhere/counts"},
        {3, "--copy", "/VERSION=/nowhere", "cannot read /nowhere\n"},
        {3, "--copy", "/VERSION=/usr", "cannot read /usr\n"},
        {3, "--set", "/sys/devices=x", "cannot change the unit's file /sys/devices: Is a directory\n"},
    };
    for (const auto& [status, option, value, text] : cases) {
        const auto run = CVirtualUnit().Option(option, value).Run({"sensepin"});
        EXPECT_EQ(run.status, status) << value;
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, AllOf(StartsWith("sonarbench-sim: "), HasSubstr(text)));
    }
}

TEST(Simulator, ARunThatCannotBeOverwritesNothing)
{
    const TemporaryDirectory directory;
    const std::string text = "sonarbench trace 2\nunit QL4K\n";
    const std::string trace = directory.Write("trace", text);
    const auto twice = CVirtualUnit().Option("--calls", "tests/none").Option("--report", "./tests/none");
    EXPECT_EQ(twice.Run({"sensepin"}).status, 2);
    const std::tuple<int, std::string, std::string> cases[] = {{3, "--keep", directory.Path()},
                                                               {2, "--calls", directory.Path("./trace")},
                                                               {2, "--replay", trace},
                                                               {2, "--copy", "/tmp/x=" + trace}};
    for (const auto& [status, option, value] : cases) {
        const auto run = CVirtualUnit("").Option("--trace", trace).Option(option, value).Run({"sensepin"});
        EXPECT_EQ(run.status, status) << option << run.errors;
        EXPECT_EQ(directory.Read("trace"), text) << option;
    }
}

TEST(Simulator, ARequestToEndIsNotLostWhileTheUnitIsMade)
{
    const TemporaryDirectory tools;
    const TemporaryDirectory left;
    const auto run = [&](const std::string& before) {
        for (const char* tool : {"bwrap", "proot"}) {
            const std::string file =
                tools.Write(tool, "#!/bin/sh\n" + before + " $PPID\nPATH=${PATH#*:}\nexec ${0##*/} \"$@\"\n");
            std::filesystem::permissions(file, std::filesystem::perms::owner_all);
        }
        return CVirtualUnit()
            .In("TMPDIR=" + left.Path())
            .In("PATH=" + tools.Path() + ":$PATH")
            .RunScript("echo started; ulimit -c 0; exec sleep 60");
    };
    const auto unstarted = run("kill -TERM");
    EXPECT_EQ(unstarted.status, 128 + 15) << unstarted.errors;
    EXPECT_EQ(unstarted.output, "");
    // Only when the sandbox is being made, not when its tool is tried.
    EXPECT_EQ(run("[ \"$1\" = --bind ] || kill -QUIT").status, 128 + 3);
    EXPECT_TRUE(std::filesystem::is_empty(left.Path()));
}

TEST(Simulator, StreamsAndStatusAreTheProgramsOwn)
{
    const auto run = CVirtualUnit().RunScript("printf 'out\\n'; printf 'err' >&2; exit 42");
    EXPECT_EQ(run.status, 42);
    EXPECT_EQ(run.output, "out\n");
    EXPECT_EQ(run.errors, "err");
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

TEST(Simulator, TheUnitHasItsOwnFilesTheCallersArgumentsAndKeepsWhatIsAskedFor)
{
    const TemporaryDirectory directory;
    const auto run =
        CVirtualUnit("QL1A")
            .In("PRODUCT_ID=N41007")
            .Option("--keep", directory.Path("unit"))
            .RunScript("cat \"$1\" /VERSION /corvane/Config/SerialNumber; echo \"<$PRODUCT_ID>\"\n"
                       ": > /tmp/sonarbench-mark; : > /dev/LSfpga7; " SONARBENCH_PROGRAM
                       " sensepin >/dev/null",
                       {directory.Write("argument", "seen\n"), "/tmp/" + std::string(300, 'x')});
    EXPECT_EQ(run.output, "seen\n2.6.1\nQS1000123\n<>\n");
    EXPECT_FALSE(std::filesystem::exists("/tmp/sonarbench-mark"));
    EXPECT_FALSE(std::filesystem::exists("/dev/LSfpga7"));
    EXPECT_TRUE(std::filesystem::exists(directory.Path("unit/tmp/stop_sonar")));
    EXPECT_EQ(directory.Read("unit/sys/devices/platform/varrow/sonar_power"), "1");
    EXPECT_EQ(directory.Read("unit/tmp/sounder_state"), "stopped\n");
    EXPECT_EQ(directory.Read("unit/VERSION"), "2.6.1\n");
}

TEST(Simulator, RunsSideBySideGiveTheSameBytesAnotherSeedOthersAndNoneLeavesAnything)
{
    const TemporaryDirectory scenes;
    const TemporaryDirectory left;
    const auto unit = CVirtualUnit("QL5K").In("TMPDIR=" + left.Path());
    std::vector<std::future<UnitRun_T>> runs(16);
    for (std::future<UnitRun_T>& run : runs) {
        run = std::async(std::launch::async, Ping, unit);
    }
    const auto expected = Ping(unit);
    EXPECT_THAT(expected.Trace("fill"), Not(IsEmpty()));
    for (std::future<UnitRun_T>& run : runs) {
        EXPECT_EQ(run.get().trace, expected.trace);
    }
    EXPECT_NE(Ping(CVirtualUnit(unit).Option("--scene", scenes.Write("scene", "{\"seed\": 2}"))).trace,
              expected.trace);
    EXPECT_EQ(unit.RunScript("echo $TMPDIR").output, left.Path() + "\n");
    EXPECT_TRUE(std::filesystem::is_empty(left.Path()));
}

// Only the library that serves the nodes changes the environment while other threads live: it sets
// UMOCKDEV_DIR. A thread that read the environment then could crash.
TEST(Simulator, NothingReadsTheEnvironmentWhileItChanges)
{
    const TemporaryDirectory directory;
    const std::vector<std::string> xkping = {"xkping", "examples/short.txt", "0", "1"};
    const std::string trace = directory.Write("trace", Ping(CVirtualUnit()).traceText);
    const std::tuple<CVirtualUnit, std::vector<std::string>> cases[] = {
        {CVirtualUnit(), xkping},
        {CVirtualUnit("").Option("--replay", trace), xkping},
        {CVirtualUnit("QL6M").Option("--report", directory.Path("page")), xkping},
        {CVirtualUnit("LumetV2").Fault("write:2=EIO"), {"lumetping", "200long"}},
        {CVirtualUnit("QL1A").Option("--scene", directory.Write("scene", R"({"seed": 2})")),
         {"ping", "200000", "210000", "27", "45", "0", "medium"}},
        {CVirtualUnit("HY05"), {"sensepin"}},
    };
    for (const auto& [unit, arguments] : cases) {
        std::filesystem::remove(directory.Path("log"));
        const auto run = CVirtualUnit(unit)
                             .In("LC_ALL=C.UTF-8")
                             .In("ASAN_OPTIONS=verify_asan_link_order=0:$ASAN_OPTIONS")
                             .In("SONARBENCH_PROBE_LOG=" + directory.Path("log"))
                             .In("LD_PRELOAD=" SONARBENCH_ENVIRONMENT_PROBE)
                             .Run(arguments);
        EXPECT_EQ(run.status, 0) << run.errors;
        std::istringstream log(directory.Read("log"));
        std::vector<std::string> changesAlone;
        std::vector<std::string> otherThreads;
        for (std::string line; std::getline(log, line);) {
            (line.starts_with("change 1 ") ? changesAlone : otherThreads).push_back(line);
        }
        EXPECT_THAT(changesAlone, Contains("change 1 setenv TMPDIR"));
        ASSERT_THAT(otherThreads, Not(IsEmpty()));
        EXPECT_THAT(otherThreads.front(), MatchesRegex("change [0-9]+ setenv UMOCKDEV_DIR"));
        otherThreads.erase(otherThreads.begin());
        EXPECT_THAT(otherThreads, Each(StartsWith("read ")));
    }
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
