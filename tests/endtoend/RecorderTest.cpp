#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>

using testing::HasSubstr;

namespace
{
/// Runs the recorder on a unit.
/// @param before  shell commands before it; its standard output is a pipe
UnitRun_T Record(const CVirtualUnit& unit, const TemporaryDirectory& directory, const std::string& file,
                 const Words_T& command, const std::string& before = "")
{
    const std::string recorder = "PATH=" SONARBENCH_PROGRAMS ":$PATH exec " SONARBENCH_RECORDER " " + file;
    return CVirtualUnit(unit)
        .Option("--write", directory.Path(""))
        .RunScript(before.empty() ? recorder + " \"$@\"" : "(" + before + recorder + " \"$@\") | cat",
                   command);
}

Words_T After(std::string first, const Words_T& words)
{
    Words_T all = {std::move(first)};
    all.insert(all.end(), words.begin(), words.end());
    return all;
}

const Words_T c_Ping = {"xkping", "examples/short.txt", "0", "1"};
} // namespace

TEST(Recorder, AFullDiskOrAnUnwritableFileDisturbsNothing)
{
    const TemporaryDirectory directory;
    const std::string trace = directory.Path("trace");
    const auto plain = CVirtualUnit().Run(c_Ping);

    // A limit for the file, which ends in an error as a full disk does; the pipe has none.
    const auto full =
        Record(CVirtualUnit(), directory, trace, After("sonarbench", c_Ping), "trap '' XFSZ; ulimit -f 8; ");
    EXPECT_EQ(full.output, plain.output);
    EXPECT_EQ(full.errors, "");
    EXPECT_THAT(directory.Read("trace"), HasSubstr("\nrecording unfinished\n"));
    const auto replay = CVirtualUnit("").Option("--replay", trace).Run(c_Ping);
    EXPECT_EQ(replay.status, 2);
    EXPECT_THAT(replay.errors, HasSubstr("the recording is unfinished"));

    for (const auto& [file, reason] : {std::pair("/nowhere/trace", "No such file or directory"),
                                       std::pair("/dev/full", "Invalid argument")}) {
        const auto refused = Record(CVirtualUnit(), directory, file, After("sonarbench", c_Ping));
        EXPECT_EQ(refused.output, plain.output);
        EXPECT_EQ(refused.status, 0);
        EXPECT_EQ(refused.errors, std::string("sonarbench-trace: cannot write the trace ") + file + ": " +
                                      reason + "; the command runs without it\n");
    }
}

TEST(Recorder, TheReplayHasTheFilesOfTheUnitAndOfTheArguments)
{
    const TemporaryDirectory directory;
    const std::string trace = directory.Path("trace");
    const std::string table = directory.Write("table.txt", Source("examples/short.txt"));
    const Words_T ping = {"xkping", table, "0", "1"};
    const auto recorded = Record(CVirtualUnit("QL5K"), directory, trace, After("sonarbench", ping));
    EXPECT_EQ(recorded.status, 0) << recorded.errors;
    directory.Write("table.txt", "");
    const auto replayed = CVirtualUnit("").Option("--replay", trace).Run(ping);
    EXPECT_EQ(replayed.output, recorded.output);
    EXPECT_EQ(replayed.trace, recorded.trace);
    EXPECT_EQ(replayed.status, 0) << replayed.errors;

    const auto other = CVirtualUnit("").Option("--replay", trace).Run({"batteryvoltage"});
    EXPECT_EQ(other.status, 3);
    EXPECT_THAT(other.errors,
                HasSubstr("the trace lacks what the program asks for: open of "
                          "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage0_raw\n"));

    const auto changed = CVirtualUnit("").Option("--replay", trace).Set("/VERSION", "9").Run(ping);
    EXPECT_EQ(changed.status, 2);
    EXPECT_THAT(changed.errors, HasSubstr("--set cannot go with the replay of a recording"));
}

TEST(Recorder, AReadingThatChangesDuringARunIsReplayedAsItWas)
{
    const TemporaryDirectory directory;
    const std::string trace = directory.Path("trace");
    const auto recorded = Record(CVirtualUnit("QL4K"), directory, trace, {"sonarbench", "lcdtemperature"});
    EXPECT_THAT(recorded.output, HasSubstr("\n490\n"));
    // The identity reads the same file first, in which 490 is the number of the board.
    std::string text = directory.Read("trace");
    const std::string reading = "file read 4 3439300a ";
    text.replace(text.rfind(reading), reading.size(), "file read - 353031310a ");
    const auto replayed =
        CVirtualUnit("").Option("--replay", directory.Write("trace", text)).Run({"lcdtemperature"});
    EXPECT_EQ(replayed.output, Replaced(recorded.output, "\n490\n", "\n5011\n"));
    EXPECT_EQ(replayed.status, 0) << replayed.errors;
}

TEST(Recorder, TheProgramHasTheEnvironmentAndStatusThatItHasWithoutIt)
{
    const TemporaryDirectory directory;
    const std::string shell = "printf '%s\\n' \"$LD_PRELOAD\" \"$SONARBENCH_RECORDING\" \"$*\"; exit 7";
    const auto plain =
        CVirtualUnit().RunScript("exec sh -c '" + Replaced(shell, "'%s\\n'", "%s\\\\n") + "' a b");
    const auto recorded = Record(CVirtualUnit(), directory, directory.Path("trace"),
                                 {"sh", "-c", Replaced(shell, "'%s\\n'", "%s\\\\n"), "a", "b"});
    EXPECT_EQ(recorded.output, plain.output);
    EXPECT_EQ(recorded.status, 7);
    const auto missing = Record(CVirtualUnit(), directory, directory.Path("trace"), {"./nothing"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_EQ(missing.errors, "sonarbench-trace: cannot run ./nothing: No such file or directory\n");
}
