#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// A script does to the unit what docs/hostile-inputs.md describes, then runs the program.
namespace
{
constexpr char c_Failed[] = "\nTest Result: Tests Failed.\n";
constexpr char c_Identity[] = "$UMOCKDEV_DIR/sys/devices/platform/varrow/product_id";

/// A run that hangs is killed, so it has no verdict.
UnitRun_T RunAfter(const std::string& preparation, const std::string& arguments,
                   const std::string& product = "QL4K")
{
    return CVirtualUnit(product).RunScript(preparation + "\ntimeout -s KILL 100 " SONARBENCH_PROGRAM " " +
                                           arguments);
}
} // namespace

TEST(HostileInput, ATableFileThatCannotBeReadFailsTheRun)
{
    const std::pair<std::string, std::string> cases[] = {
        {"mkfifo /tmp/table", "/tmp/table: no data within 5 seconds\n"},
        {"ln -s /dev/zero /tmp/table", "/tmp/table: larger than 32 MiB, the most that is read\n"},
        {"truncate -s 8T /tmp/table", "/tmp/table: larger than [0-9]* MiB, the most that is read\n"},
        {"mkdir /tmp/table", ""},
        {"ln -s table /tmp/table", ""},
    };
    for (const auto& [preparation, errors] : cases) {
        const auto run = RunAfter(preparation, "xkping /tmp/table 0 1");
        EXPECT_THAT(run.output, HasSubstr("ERROR: Failed to open file:\n/tmp/table-----")) << preparation;
        EXPECT_THAT(run.output, HasSubstr("ERROR: Ensure file exists: /tmp/table \n"));
        EXPECT_THAT(run.output, EndsWith(c_Failed));
        EXPECT_THAT(run.errors, testing::MatchesRegex(errors));
    }
    const std::string passed = "\nTest Result: Test Passed.\n";
    EXPECT_THAT(
        RunAfter("cp examples/short.txt /tmp/table; truncate -s 100M /tmp/table", "xkping /tmp/table 0 1")
            .output,
        EndsWith(passed));
    EXPECT_THAT(RunAfter("mkfifo /tmp/table\n(sleep 1; cat examples/short.txt) >/tmp/table &",
                         "xkping /tmp/table 0 1")
                    .output,
                EndsWith(passed))
        << "a pipe may begin late";
}

TEST(HostileInput, AnIdentityThatCannotBeReadNamesNoProduct)
{
    const std::string unknown = "ERROR: Unknown Product type.\n";
    const std::pair<std::string, std::string> cases[] = {
        {"mkdir ", "No valid product ID.\n"},
        {"head -c 100000000 /dev/zero | tr '\\0' x >", "No valid product ID.\n"},
        {"ln -s /nowhere ", unknown},
        {"ln -s product_id ", unknown},
    };
    for (const auto& [command, text] : cases) {
        const std::string file = c_Identity;
        const auto run = RunAfter(std::string("rm ") + file + "\n" + command + file, "xkping");
        EXPECT_THAT(run.output, StartsWith(text)) << command;
        EXPECT_THAT(run.output, HasSubstr(unknown));
        EXPECT_THAT(run.output, EndsWith(c_Failed));
        EXPECT_LT(run.output.size(), 2000U);
    }
}

TEST(HostileInput, TheStopMarkerReplacesALinkOrAPipe)
{
    const std::string look = "\ntest -f /tmp/stop_sonar -a ! -L /tmp/stop_sonar -a ! -s /tmp/stop_sonar && "
                             "echo \"marker, $(cat /tmp/victim)\"";
    const std::pair<std::string, std::string> cases[] = {
        {"ln -s /tmp/victim /tmp/stop_sonar", "marker, precious\n"},
        {"ln /tmp/victim /tmp/stop_sonar", "marker, precious\n"},
        {"mkfifo /tmp/stop_sonar", "marker, precious\n"},
        {"mkdir /tmp/stop_sonar", ""},
    };
    for (const auto& [preparation, seen] : cases) {
        const auto run = RunAfter("echo precious >/tmp/victim\n" + preparation, "sensepin" + look, "QL1A");
        EXPECT_THAT(run.output, EndsWith("\nTest Result: Operation Performed.\n" + seen)) << preparation;
    }
}

TEST(HostileInput, AStreamTheCallerClosedIsNotTheFpga)
{
    const std::string ping = "xkping examples/short.txt 0 1";
    const auto usual = RunAfter("", ping);
    EXPECT_THAT(usual.Trace("fill"), testing::Not(testing::IsEmpty()));
    for (const char* stream : {" >&-", " 2>&-", " 2>&- >&-"}) {
        EXPECT_EQ(RunAfter("", ping + stream).trace, usual.trace) << stream;
    }
    EXPECT_EQ(RunAfter("", ping + " >/dev/full").errors,
              "sonarbench: could not write the whole report to standard output\n");
}

TEST(HostileInput, TheCallersEnvironmentChangesNothing)
{
    const std::string ping = "xkping examples/short.txt 0 1";
    const auto run = RunAfter("export PRODUCT_ID=N41010 PRODUCT_ID_QL4K=N41010 PRODUCT_ID_LUMETV1=N41005\n"
                              "export FPGA_CHANNEL_0_COMMS=/nowhere FPGA_CHANNEL_1_COMMS=/nowhere\n"
                              "export QT_LOGGING_RULES='*=true' QT_DEBUG_PLUGINS=1 QT_FATAL_WARNINGS=1\n"
                              "export QT_MESSAGE_PATTERN='%{backtrace}' LC_ALL=de_DE.UTF-8 IFS=/ "
                              "TMPDIR=/nowhere",
                              ping);
    const auto usual = RunAfter("", ping);
    EXPECT_EQ(run.output, usual.output);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.trace, usual.trace);
}
