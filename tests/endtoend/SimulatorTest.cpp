#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <future>
#include <gmock/gmock.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace
{
/// Exit status of a shell command that ends within a minute.
int StatusOf(const std::string& command)
{
    const TemporaryDirectory directory;
    const std::string file = directory.Write("command", command);
    return WEXITSTATUS(std::system(("timeout 60 bash " + file + " >/dev/null").c_str()));
}
} // namespace

TEST(Simulator, AWrongCommandLineEndsWith2AndAFailureWith3)
{
    const TemporaryDirectory directory;
    const TemporaryDirectory left;
    const std::string scene = directory.Write("scene", "{\n \"bottom\": {\"depth\": \"deep\"}}");
    const std::string water = "/sys/devices/platform/varrow/water_temperature";
    const std::tuple<int, std::string, std::string, std::string> cases[] = {
        {2, "--product", "QL4", "unknown product QL4; did you mean QL4K?"},
        {2, "--firmware-version", "256", "\"256\" is not a firmware version, "},
        {2, "--set", "/etc/passwd=x", "\"/etc/passwd\" is not a file of a unit; "},
        {2, "--set", "/sys/../etc/passwd=x", "\"/sys/../etc/passwd\" is not a file of a unit; "},
        {2, "--set", "/sys/x", "\"/sys/x\" is not of the form FILE=VALUE\n"},
        {2, "--set", "/sys/x=1", "the unit QL4K has no file /sys/x, and sonarbench does not read it\n"},
        {2, "--remove", water + "s", "and sonarbench does not read it; did you mean " + water + "?\n"},
        {2, "--fault", "write:1=lieing", "short, zero or lying; did you mean lying?\n"},
        {2, "--frequency", "3", "unknown option --frequency\n"},
        {2, "--help-all", "", "unknown option --help-all\n"},
        {2, "--sceen", "x", "unknown option --sceen; did you mean --scene?\n"},
        {2, "--report", "-", "--report cannot use a standard stream"},
        {2, "--replay", "/nowhere", "sonarbench-sim: /nowhere: No such file or directory\n"},
        {2, "--replay", directory.Write("product", "sonarbench trace 2\nunit QL9\n"),
         "product:2: unknown product QL9 (--list-products lists them)\n"},
        {2, "--replay", directory.Write("device", "sonarbench trace 2\nunit QL4K\n- LSfpga9 write - 01\n"),
         "device:3: the unit QL4K has no device LSfpga9"},
        {2, "--fault=write:1=EIO", "--replay=" + directory.Path("device"),
         "--fault cannot go with --replay: "},
        {2, "--truth=truth", "--replay=" + directory.Path("device"), "--truth cannot go with --replay: "},
        {3, "--program", "/nowhere/sonarbench",
         "cannot run /nowhere/sonarbench: No such file or directory\n"},
        {3, "--program", scene, "cannot run " + scene + ": Permission denied\n"},
        {3, "--scene", scene, scene + ":2:13: bottom.depth: is not a number\n"},
        {3, "--keep", "/usr", "cannot make the directory /usr: File exists\n"},
        {3, "--calls", "/nowhere/counts",
         "cannot write the counts /nowhere/counts: No such file or directory\n"},
        {3, "--report", "/usr", "cannot write the report /usr: Is a directory\n"},
        {3, "--copy", "/VERSION=/nowhere", "/nowhere: No such file or directory\n"},
        {3, "--set", "/sys/devices=x", "the unit's file /sys/devices: Is a directory\n"},
        {3, "--fault", "write:9=EIO",
         "fault write:9=EIO was never triggered: the run made no write operations\n"},
        {3, "--fault", "file-close:99=EIO",
         "fault file-close:99=EIO was never triggered: the run made only "},
    };
    for (const auto& [status, option, value, text] : cases) {
        const auto run = CVirtualUnit(status == 2 ? "" : "QL4K")
                             .In("TMPDIR=" + left.Path())
                             .Option(option, value)
                             .Run({"sensepin"});
        EXPECT_EQ(run.status, status) << option << " " << value;
        EXPECT_EQ(run.output.empty(), option != "--fault" || status == 2) << option << " " << value;
        EXPECT_THAT(run.errors, AllOf(StartsWith("sonarbench-sim: "), HasSubstr(text)));
        EXPECT_TRUE(std::filesystem::is_empty(left.Path())) << option << " " << value;
    }
}

TEST(Simulator, NamesTheResourceThatIsMissingAndLeavesNothing)
{
    std::vector<std::pair<std::string, std::string>> cases = {
        {"ulimit -n 16;", "64 file descriptors: Too many open files\n"},
    };
#ifndef __SANITIZE_ADDRESS__ // the sanitizers need descriptors, terabytes and /proc themselves
    cases.emplace_back("ulimit -n 6;", "4 pseudo-terminals: Too many open files\n");
    cases.emplace_back("ulimit -v 120000;", "128 MiB of address space: Cannot allocate memory\n");
    if (HasNamespaces()) {
        const std::string hide = "bwrap --dev-bind / / --tmpfs ";
        cases.emplace_back(hide + "/proc", "/proc: No such file or directory\n");
        cases.emplace_back(hide + "/dev", "4 pseudo-terminals: No such file or directory\n");
    }
#endif
    const TemporaryDirectory directory;
    const TemporaryDirectory left;
    for (const auto& [machine, text] : cases) {
        EXPECT_EQ(StatusOf("export TMPDIR=" + left.Path() + "; " + machine +
                           " " SONARBENCH_SIM " sensepin 2>" + directory.Path("err")),
                  3)
            << machine;
        EXPECT_EQ(directory.Read("err"), "sonarbench-sim: a run needs " + text);
        EXPECT_TRUE(std::filesystem::is_empty(left.Path())) << machine;
    }
}

TEST(Simulator, MisplacedOptionsAndMisspeltCommandsAreRefused)
{
    const auto run = [](const std::string& words) {
        const TemporaryDirectory directory;
        const std::string streams = " >" + directory.Path("out") + " 2>" + directory.Path("err");
        const int status = StatusOf(SONARBENCH_SIM " " + words + streams);
        return std::to_string(status) + " " + WithoutNotice(directory.Read("err")) + directory.Read("out");
    };
    const std::pair<const char*, const char*> cases[] = {
        {"batteryvoltage --product QL1A", "2 sonarbench-sim: the option --product must come before "},
        {"xkping x 0 1 --trace=x", "2 sonarbench-sim: the option --trace=x must come before "},
        {"sensepin -h", "2 sonarbench-sim: the option -h must come before "},
        {"--trace x --trace y sensepin", "2 sonarbench-sim: --trace can be given only once\n"},
        {"bateryvoltage", "2 sonarbench-sim: unknown command bateryvoltage; did you mean batteryvoltage? "},
        {"-- sensepin --trace", "0 -----"},
        {"-- bateryvoltage", "0 "},
        {"--no-isolation --program /bin/echo sensepim", "0 sensepim\n"},
        {"--set /corvane/x=1 sensepin /corvane/x", "0 -----"}};
    for (const auto& [words, expected] : cases) {
        EXPECT_THAT(run(words), StartsWith(expected)) << words;
    }
}

TEST(Simulator, AFullStandardOutputIsAnError)
{
    for (const char* option : {"--help", "--version", "--list-products", "--list-faults"}) {
        EXPECT_EQ(StatusOf(std::string(SONARBENCH_SIM " ") + option + " >/dev/full 2>&1"), 3) << option;
    }
}

TEST(Simulator, ARunThatCannotBeginOverwritesNothingAndLeavesNothing)
{
    const TemporaryDirectory directory;
    const std::string text = "sonarbench trace 2\nunit QL4K\n";
    const std::string trace = directory.Write("trace", text);
    const auto twice = CVirtualUnit().Option("--calls", "tests/none").Option("--report", "./tests/none");
    EXPECT_EQ(twice.Run({"sensepin"}).status, 2);
    const std::tuple<int, std::string, std::string> cases[] = {{3, "--keep", directory.Path()},
                                                               {3, "--keep", directory.Path("trace/x")},
                                                               {2, "--calls", directory.Path("./counts")},
                                                               {3, "--copy", "/VERSION=/nowhere"},
                                                               {3, "--report", "/nowhere/page"},
                                                               {2, "--replay", directory.Path("counts")},
                                                               {2, "--copy", "/tmp/x=" + trace}};
    for (const auto& [status, option, value] : cases) {
        const std::string words = SONARBENCH_SIM " --trace " + trace + " --calls " + directory.Path("counts");
        EXPECT_EQ(StatusOf(words + " " + option + " " + value + " sensepin 2>&1"), status) << option << value;
        EXPECT_EQ(directory.Read("trace"), text) << option;
        EXPECT_FALSE(std::filesystem::exists(directory.Path("counts"))) << option;
    }
}

TEST(Simulator, AWorkingDirectoryThatTheUnitLacksIsNamed)
{
    const TemporaryDirectory directory;
    const auto answer = [&](const std::string& place) {
        return StatusOf(place + "; " SONARBENCH_SIM " --no-isolation --program /bin/cat here >" +
                        directory.Path("out") + " 2>" + directory.Path("err"));
    };
    EXPECT_EQ(answer("cd /proc/self"), 3);
    EXPECT_THAT(directory.Read("err"), StartsWith("sonarbench-sim: the unit has no directory /proc/"));
    EXPECT_EQ(answer("mkdir " + directory.Path("a") + "; cd " + directory.Path("a") + "; rmdir ../a"), 3);
    EXPECT_THAT(directory.Read("err"), EndsWith("sonarbench-sim: cannot find the working directory: "
                                                "No such file or directory\n"));
    EXPECT_EQ(
        answer("place=$(mktemp -d /dev/shm/XXXXXX); trap 'rm -r $place' EXIT; cd $place; echo seen >here"),
        0);
    EXPECT_EQ(directory.Read("out"), "seen\n") << directory.Read("err");
}

TEST(Simulator, APipeWithNobodyAtItsOtherEndIsRefused)
{
    const TemporaryDirectory directory;
    const std::pair<std::string, std::string> cases[] = {
        {"--replay ", "p0: no data within 5 seconds\n2\n"},
        {"--scene ", "p1: no data within 5 seconds\n3\n"},
        {"--copy /VERSION=", "p2: no data within 5 seconds\n3\n"},
        {"--trace ", "cannot write the trace p3: nobody reads the pipe\n3\n"},
        {"--truth ", "cannot write the truth p4: nobody reads the pipe\n3\n"},
        {"--calls ", "cannot write the counts p5: nobody reads the pipe\n3\n"},
        {"--report ", "cannot write the report p6: nobody reads the pipe\n3\n"}};
    std::string script = "cd " + directory.Path() + "\n";
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const std::string number = std::to_string(i);
        script += "mkfifo p" + number + "; (timeout 60 " SONARBENCH_SIM " " + cases[i].first + "p" + number +
                  " sensepin 2>" + number + " >/dev/null; echo $? >>" + number + ") &\n";
    }
    EXPECT_EQ(std::system((script + "wait").c_str()), 0);
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(directory.Read(std::to_string(i)), "sonarbench-sim: " + cases[i].second);
    }
}

TEST(Simulator, AnEndlessImageEndsTheRun)
{
    const auto run = CVirtualUnit().RunScript("cat /dev/zero >/dev/LSfpga0");
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.errors, HasSubstr("sonarbench-sim: the device refused: an image of more than 64 MiB on "
                                      "/dev/LSfpga0\n"));
}

TEST(Simulator, ABrokenPipeEndsTheProgramWithItsSignal)
{
    const TemporaryDirectory directory;
    const std::string words = " --no-isolation --program " +
                              directory.WriteProgram("program", "while :; do echo line; done") +
                              " 2>&1 | head -n 1; exit ${PIPESTATUS[0]}";
    for (const std::string& options : {std::string(), " --report " + directory.Path("page")}) {
        EXPECT_EQ(StatusOf(SONARBENCH_SIM + options + words), 128 + 13) << options;
    }
}

TEST(Simulator, StopsAndContinuesWithEverythingThatItStarted)
{
    for (const bool hasNamespaces : {HasNamespaces(), false}) {
        const TemporaryDirectory directory;
        directory.WriteProgram("program", "echo started\nuntil [ -e $1/go ]; do sleep 0.01; done\nexit 7");
        if (!hasNamespaces) {
            directory.WriteProgram("bwrap", "exit 1");
        }
        // What proot traces waits for proot at its next system call, and is not stopped itself. A shell is in
        // the state D while a child that it starts is stopped.
        const std::string child = hasNamespaces ? "states $child" : "cut -d' ' -f3 /proc/$child/stat";
        const std::string script = "set -m\ncd " + directory.Path() + R"(
PATH=$PWD:$PATH )" SONARBENCH_SIM R"( --no-isolation --program ./program $PWD >out &
states() { cut -d' ' -f3 /proc/$1/stat; for child in $(cat /proc/$1/task/*/children); do )" +
                                   child + R"(; done; }
while [ ! -s out ] && kill -0 $!; do sleep 0.01; done
kill -TSTP $!
until [[ $(states $! | sort -u | tr -d '\n') =~ ^[DT]+$ ]] || ! kill -0 $!; do sleep 0.01; done
touch go
fg)";
        EXPECT_EQ(StatusOf(script), 7) << hasNamespaces;
    }
}

TEST(Simulator, WhatAKilledSimulatorLeftIsRemovedByTheNextInEveryPlace)
{
    const TemporaryDirectory left;
    const TemporaryDirectory directory;
    directory.WriteProgram("program", "touch /tmp/$1; sleep 60");
    std::filesystem::create_directory(left.Path("sonarbench-sim-traces"));
    const std::string own = "TMPDIR=" + left.Path(), usual = "env -u TMPDIR",
                      mark = "mark" + std::to_string(::getpid());
    for (const auto& [killed, next] : {std::pair(own, own), {"TMPDIR=/tmp", usual}, {usual, own}}) {
        const std::string script = "cd " + directory.Path() + "\nleft() { ls -d {/tmp,/dev/shm," +
                                   left.Path() + "}/sonarbench-sim-*/tmp/" + mark + " | wc -l; }\n" + killed +
                                   " " SONARBENCH_SIM " --no-isolation --program ./program " + mark + R"( &
until [ $(left) = 1 ] || ! kill -0 $!; do sleep 0.01; done
kill -KILL $! && wait $!
)" + next + " " SONARBENCH_SIM " sensepin && [ $(left) = 0 ]";
        EXPECT_EQ(StatusOf(script), 0) << killed;
    }
    EXPECT_TRUE(std::filesystem::exists(left.Path("sonarbench-sim-traces"))) << "somebody else made it";
}

TEST(Simulator, ARequestToEndIsNotLostWhileTheUnitIsMade)
{
    const TemporaryDirectory tools;
    const TemporaryDirectory left;
    const auto run = [&](const std::string& before) {
        for (const char* tool : {"bwrap", "proot"}) {
            tools.WriteProgram(tool, before + " $PPID\nPATH=${PATH#*:}\nexec ${0##*/} \"$@\"");
        }
        return CVirtualUnit()
            .In("TMPDIR=" + left.Path())
            .In("PATH=" + tools.Path() + ":$PATH")
            .RunScript("echo started; ulimit -c 0; exec sleep 60");
    };
    // On a slow machine the program may get SIGKILL before it is ready for another signal.
    EXPECT_THAT(run("kill -TERM").status, AnyOf(128 + 15, 128 + 9));
    EXPECT_THAT(run("kill -QUIT").status, AnyOf(128 + 3, 128 + 9));
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

TEST(Simulator, AnOperationThatTheDeviceRefusesFailsTheRun)
{
    const std::string call = R"(perl -e 'open(N, "+<", "/dev/LSfpga0") && syswrite(N, "ping") or exit 9')";
    const auto run = CVirtualUnit().RunScript(call);
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.errors, StartsWith("sonarbench-sim: the device refused: "));
    EXPECT_THAT(run.Trace("refused"), Not(IsEmpty()));
    EXPECT_EQ(CVirtualUnit().Fault("write:1=EIO").RunScript(call).status, 9)
        << "a refusal that a fault explains is not a failure";
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

TEST(Simulator, TheCommandsOfAShellShareOneUnit)
{
    const std::string script = "power=/sys/devices/platform/varrow/sonar_power; cat $power; "
                               "sonarbench loadfpgabinary >first; cat $power; echo; "
                               "for i in 1 2; do sonarbench xkping $1 0 1 >$i; tail -n 1 $i; done; "
                               "cmp -s 1 2 || echo each ping hears something else; exit 7";
    const auto run =
        CVirtualUnit()
            .Option("--no-isolation")
            .Option("--shell")
            .Run({"sh", "-c", "table=$PWD/examples/short.txt; cd /tmp; set -- $table; " + script});
    const std::string passed = "Test Result: Test Passed.\n";
    EXPECT_EQ(run.output, "0\n1\n" + passed + passed + "each ping hears something else\n");
    EXPECT_EQ(run.status, 7) << run.errors;
    EXPECT_EQ(run.Trace("image").size(), 3U);
}

TEST(Simulator, ParallelRunsDependOnlyOnTheSeedAndLeaveNoFiles)
{
    const TemporaryDirectory scenes;
    const TemporaryDirectory left;
    const auto unit = CVirtualUnit("QL5K").In("TMPDIR=" + left.Path());
    std::vector<std::future<UnitRun_T>> runs(16);
    for (std::future<UnitRun_T>& run : runs) {
        run = std::async(std::launch::async, [&unit] { return XkPing(unit); });
    }
    const auto expected = XkPing(unit);
    EXPECT_THAT(expected.Trace("fill"), Not(IsEmpty()));
    for (std::future<UnitRun_T>& run : runs) {
        EXPECT_EQ(run.get().trace, expected.trace);
    }
    EXPECT_NE(XkPing(CVirtualUnit(unit).Option("--scene", scenes.Write("scene", "{\"seed\": 2}"))).trace,
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
    const std::string trace = directory.Write("trace", XkPing(CVirtualUnit()).trace);
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

TEST(Simulator, ProotIsUsedWhereNamespacesAreRefused)
{
    const TemporaryDirectory directory;
    directory.WriteProgram("bwrap", "exit 1");
    const auto run = XkPing(CVirtualUnit().In("PATH=" + directory.Path() + ":$PATH"));
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, XkPing(CVirtualUnit()).output);
}
