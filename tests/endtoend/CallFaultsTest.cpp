#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>

using testing::HasSubstr;

namespace
{
/// What the probe prints on a unit without faults.
const std::string c_Sound = " open=0 tcsetattr=0:set ioctl=0 poll=0 write=9 poll=1 read=2:0000 close=0 |"
                            " open=0 read=6:46706761496e close=0 |"
                            " open=0 write=6:abcdef close=0 |"
                            " fclose=0\n";

/// Runs the probe in place of the program under test.
UnitRun_T Probe(CVirtualUnit unit)
{
    return unit.Set("/sys/devices/platform/varrow/sonar_power", "1")
        .Option("--no-isolation")
        .Option("--program", SONARBENCH_CALL_PROBE)
        .Run({"examples/../examples/short.txt"});
}

const std::string c_DeviceUsed = c_Sound.substr(0, c_Sound.find(" |"));
const std::string c_FileUsed = " open=0 read=6:46706761496e close=0";
} // namespace

TEST(CallFaults, EachKindIsWhatTheProgramSees)
{
    struct Row_T {
        const char* faults;
        std::string from;
        std::string to;
    };
    const std::string reply = "read=2:0000";
    const std::vector<Row_T> rows = {
        {"open:1=ENODEV", c_DeviceUsed, " open=ENODEV"},
        {"read:1=EIO", reply, "read=EIO"},
        {"read:1=short", reply, "read=1:00"},
        {"read:1=zero", reply, "read=0"},
        {"poll:1=EINTR", "poll=0", "poll=EINTR"},
        {"poll:2=never", "poll=1 " + reply, "poll=0"},
        {"poll:1=lying", "poll=0", "poll=1 read=EAGAIN"},
        {"poll:2=lying", "", ""},
        {"tcsetattr:1=EIO", "tcsetattr=0:set", "tcsetattr=EIO"},
        {"tcsetattr:1=lying", ":set", ""},
        {"close:1=EIO", "close=0", "close=EIO"},
        {"device:2=gone", "tcsetattr=0:set ioctl=0 poll=0 write=9 poll=1 " + reply,
         "tcsetattr=ENODEV ioctl=ENODEV poll=1:hup read=ENODEV write=ENODEV poll=1:hup read=ENODEV"},
        {"device:*=gone", c_DeviceUsed, " open=ENODEV"},
        {"file-open:1=EACCES", c_FileUsed, " open=EACCES"},
        {"file-read:1=EIO", c_FileUsed, " open=0 read=EIO close=0"},
        {"file-read:1=short", "read=6:46706761496e", "read=3:467067"},
        {"file-read:1=zero", "read=6:46706761496e", "read=0"},
        {"file-read:1=bit", "46706761496e", "46706760496e"},
        {"file-write:1=ENOSPC", "write=6:abcdef", "write=ENOSPC:"},
        {"file-write:1=short", "write=6:abcdef", "write=3:abc"},
        {"file-write:1=zero", "write=6:abcdef", "write=0:"},
        {"file-write:1=lying", "write=6:abcdef", "write=6:"},
        {"file-close:1=EIO", "6e close=0", "6e close=EIO"},
        {"file-write:2=ENOSPC", "fclose=0", "fclose=ENOSPC"},
        {"file-write:2=short", "", ""},
        {"file-close:3=EDQUOT", "fclose=0", "fclose=EDQUOT"},
    };
    for (const Row_T& row : rows) {
        const auto run = Probe(CVirtualUnit().Fault(row.faults));
        EXPECT_EQ(run.output, Replaced(c_Sound, row.from, row.to)) << row.faults;
        EXPECT_EQ(run.status, 0) << row.faults << run.errors;
    }
}

TEST(CallFaults, OperationsAreCountedWhereTheyBelong)
{
    const TemporaryDirectory directory;
    const auto counted = [&](CVirtualUnit unit) { return unit.Option("--calls", directory.Path("counts")); };
    Probe(counted(CVirtualUnit()));
    EXPECT_EQ(directory.Read("counts"),
              "write 1\nioctl 1\nreply 1\nfill 0\nfifo 0\ninterrupt 0\nopen 1\nread 1\npoll 2\ntcsetattr 1\n"
              "close 1\ndevice 8\nfile-open 3\nfile-read 1\nfile-write 2\nfile-close 3\n");

    // The shell that loads the firmware also opens files and the node.
    const auto load = counted(CVirtualUnit("QL4K")).Run({"loadfpgabinary"});
    EXPECT_THAT(load.output, HasSubstr("Test Passed"));
    EXPECT_THAT(directory.Read("counts"), HasSubstr("\nopen 1\n"));
}
