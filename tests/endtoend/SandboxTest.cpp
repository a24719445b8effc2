#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <csignal>
#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using testing::AnyOf;
using testing::HasSubstr;

namespace
{
namespace fs = std::filesystem;

int ShellStatus(const std::string& command) { return WEXITSTATUS(std::system(command.c_str())); }
} // namespace

// Each row is one of docs/hostile-inputs.md, tried by a program in the unit.
TEST(Sandbox, ProtectsTheMachineFromTheProgram)
{
    if (!HasNamespaces()) {
        GTEST_SKIP() << "this machine refuses the namespaces that isolate a program";
    }
    const TemporaryDirectory host;
    const TemporaryDirectory writable;
    const TemporaryDirectory work;
    host.Write("secret", "secret\n");
    work.Write("table", "readable\n");
    const std::string id = std::to_string(::getpid());
    const auto attachTo = [](const char* process) {
        return "perl -e 'syscall(" + std::to_string(SYS_ptrace) + ", " + std::to_string(PTRACE_ATTACH) +
               ", shift() + 0, 0, 0) == 0 or die $!' " + process;
    };
    // $HOST: a directory below this machine's /tmp, $WRITE: one for --write, $ID: this process. Each attempt
    // must fail, and with this error if one is given; other errors depend on the user.
    const std::tuple<const char*, std::string, const char*> refused[] = {
        {"read another /tmp file", "cat $HOST/secret", "No such file"},
        {"read another /tmp file by /proc", "cat /proc/$ID/root$HOST/secret", "No such file"},
        {"read another /tmp file by the supervisor", "cat /proc/1/root$HOST/secret", "Permission denied"},
        {"see what is in /root, /home, /run, /var/tmp and /dev/shm",
         "ls -A /root /home /run /var/tmp /dev/shm | grep -v :$ | grep .", ""},
        {"write into the working directory", "echo x >table", "Read-only file system"},
        {"remove from the working directory", "rm table", "Read-only file system"},
        {"write next to the simulator", "echo x >" SONARBENCH_SIM "-x", ""},
        {"write a file of the machine", "echo x >/etc/sonarbench-x", ""},
        {"make a directory in the root", "mkdir /sonarbench-x", ""},
        {"write a setting of the kernel", "cat /proc/sys/vm/swappiness >/proc/sys/vm/swappiness", ""},
        {"see a process of the machine", "[ \"$(ls -d /proc/[0-9]* | wc -l)\" -gt 6 ]", ""},
        {"signal a process of the machine", "kill -0 $ID", "No such process"},
        {"end the supervisor", "kill -KILL 1; kill -STOP 1; sleep 0.05; grep -q 'State:.T' /proc/1/status",
         ""},
        {"read the memory of a process of the machine", "cat /proc/$ID/mem", "No such file"},
        {"trace a process of the machine", attachTo("$ID"), "No such process"},
        {"trace the supervisor", attachTo("1"), "Operation not permitted"},
        {"mount", "mount -t tmpfs none /tmp", ""},
        {"unmount", "umount /root", ""},
        {"make a device node", "mknod /tmp/node c 1 3", "Operation not permitted"},
        {"see a network device", "grep -v lo: /proc/net/dev | grep :", ""},
        {"gain rights", "grep Cap[PE] /proc/self/status | grep '[1-9a-f]$'", ""},
        {"see another terminal", "ls /dev/pts | grep -vx \"$(basename \"$(readlink /unit/*/dev/LSfpga0)\")\"",
         ""},
        {"open the terminal of the caller", ": </dev/tty", "No such device or address"},
    };
    const std::pair<const char*, const char*> permitted[] = {
        {"read the working directory", "[ \"$(cat table)\" = readable ]"},
        {"write a directory of --write", "echo written >$WRITE/file && [ -s $WRITE/file ]"},
        {"write its own /tmp", "echo x >/tmp/x && [ -s /tmp/x ]"},
        {"write a file of the unit", "echo x >/corvane/Config/SerialNumber"},
        {"write a null device", "echo x >/dev/null"},
        {"leave the disks of this machine alone with sync",
         "sync && { [ -n \"$SONARBENCH_EMULATOR\" ] || grep -q 'Seccomp:.2' /proc/self/status; }"},
        {"see itself", "[ -d /proc/$$ ] && [ -d /proc/self/task ]"},
    };
    std::string script =
        "export LC_ALL=C HOST=" + host.Path() + " WRITE=" + writable.Path() + " ID=" + id + "\n";
    for (const auto& [what, attempt, error] : refused) {
        script += "error=$( (" + attempt + ") 2>&1 >/dev/null) && echo 'can " + what +
                  "'\ncase $error in *'" + error + "'*) ;; *) echo \"" + what + ": $error\" ;; esac\n";
    }
    for (const auto& [what, attempt] : permitted) {
        script += "(" + std::string(attempt) + ") >/dev/null 2>&1 || echo 'cannot " + what + "'\n";
    }
    const std::string program = work.WriteProgram("program", script + "echo tried\n");
    const std::string out = host.Path("out");
    EXPECT_EQ(ShellStatus("cd " + work.Path() + " && " SONARBENCH_SIM " --program ./program --write " +
                          writable.Path() + " >" + out + " 2>&1"),
              0);
    EXPECT_EQ(host.Read("out"), "tried\n");
    EXPECT_EQ(host.Read("secret"), "secret\n");
    EXPECT_EQ(work.Read("table"), "readable\n");
    EXPECT_EQ(writable.Read("file"), "written\n");
}

TEST(Sandbox, RootMustAskForAProgramThatCannotBeIsolated)
{
    const TemporaryDirectory tools;
    tools.WriteProgram("bwrap", "exit 1\n");
    const std::string program = tools.WriteProgram("program", "echo started\n");
    const std::string run = "PATH=" + tools.Path() + ":$PATH " SONARBENCH_SIM " --program " + program;
    const std::string out = " >" + tools.Path("out") + " 2>&1";
    if (::geteuid() == 0) {
        EXPECT_EQ(ShellStatus(run + out), 3);
        EXPECT_THAT(tools.Read("out"), HasSubstr("--no-isolation"));
    }
    EXPECT_EQ(ShellStatus(run + " --no-isolation" + out), 0);
    EXPECT_THAT(tools.Read("out"),
                HasSubstr("sonarbench-sim: the program is not isolated from this machine"));
    EXPECT_THAT(tools.Read("out"), HasSubstr("started\n"));
}

TEST(Sandbox, ADirectoryOfTheUnitCannotBeOpenedForWriting)
{
    for (const char* directory :
         {"/", "//", "/tmp", "/tmp/.", "/dev", "/proc/self", "/sys", "/nowhere", "/etc/passwd"}) {
        EXPECT_EQ(ShellStatus(SONARBENCH_SIM " --write " + std::string(directory) + " sensepin 2>/dev/null"),
                  2)
            << directory;
    }
}

TEST(Sandbox, AProgramThatRemovesItsUnitFailsTheRun)
{
    if (!HasNamespaces()) {
        GTEST_SKIP()
            << "without namespaces the program would remove files of the simulator and of this machine";
    }
    const TemporaryDirectory directory;
    const auto run = CVirtualUnit()
                         .Option("--keep", directory.Path("unit"))
                         .Option("--report", directory.Path("page"))
                         .RunScript("rm -rf /unit /corvane /VERSION /tmp /dev 2>/dev/null\necho removed");
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.output, "removed\n");
    EXPECT_THAT(run.errors, HasSubstr("sonarbench-sim: the program removed the unit's node /dev/LSfpga0\n"));
}

TEST(Sandbox, ARequestToEndAndATimeLimitEndEveryRunAndRemoveTheUnit)
{
    // In a directory of its own, where "pipe" has no other end.
    struct Case_T {
        std::string options;
        std::string program; // a shell's; none: the request comes when the simulator is probably waiting
        int status;
    };
    const Case_T cases[] = {
        {"", "sleep 100", 128 + SIGTERM},
        {"", "trap : TERM; while :; do sleep 1; done", 128 + SIGKILL},
        {"", "kill -STOP $$; sleep 100", 128 + SIGKILL},
        {"--report page 3<>pipe >&3", "while :; do echo line; done", 128 + SIGTERM},
        {"--copy /VERSION=pipe", "", 128 + SIGTERM},
        {"--scene pipe", "", 128 + SIGTERM},
        {"--replay pipe", "", 128 + SIGTERM},
    };
    const auto tryCase = [](const Case_T& row) {
        const TemporaryDirectory work;
        const TemporaryDirectory left;
        work.Write("program", ": >begun\n" + row.program + "\n");
        const std::string program = row.program.empty() ? "" : " --no-isolation --program /bin/sh --write .";
        const std::string wait =
            row.program.empty() ? "sleep 0.3" : "while [ ! -e begun ] && kill -0 $!; do sleep 0.01; done";
        const auto run = [&](const std::string& option, const std::string& after) {
            const int status = ShellStatus(
                "cd " + work.Path() + " && TMPDIR=" + left.Path() +
                " timeout -s KILL 60 bash -c 'exec >/dev/null 2>errors; " SONARBENCH_SIM + program + option +
                " " + row.options + (row.program.empty() ? " sensepin " : " -- program ") + after + "'");
            EXPECT_TRUE(fs::is_empty(left.Path())) << row.options << row.program;
            fs::remove(work.Path("begun"));
            return status;
        };
        ::mkfifo(work.Path("pipe").c_str(), 0600);
        // On a slow machine the simulator may end before it sees how the program ended.
        EXPECT_THAT(run("", "& " + wait + "; kill -TERM $!; wait $!"), AnyOf(row.status, 128 + SIGTERM))
            << row.options << row.program;
        EXPECT_EQ(run(" --time-limit 1", ""), 124) << row.options << row.program;
        EXPECT_EQ(WithoutNotice(work.Read("errors")), "sonarbench-sim: the time limit ended the run\n");
    };
    std::vector<std::future<void>> tried;
    for (const Case_T& row : cases) {
        tried.push_back(std::async(std::launch::async, tryCase, row));
    }
}
