#include "simulator/faults/Faults.h"

#include "tests/support/Texts.h"

#include <QByteArray>
#include <gmock/gmock.h>

#include <cerrno>

using testing::HasSubstr;

namespace
{

/// A device that answers each write with a register, the FIFO status and samples of a ping. The first byte of
/// a reply and the samples is the number of the round. All requests are waits for the interrupt.
class SoundDevice final : public IDeviceModel
{
public:
    DeviceOutcome_T Write(ByteView_T bytes) override
    {
        seen += " sees " + std::string(bytes.begin(), bytes.end());
        return {.fill = {round, 6, 6, 6}, .reply = {round, 7, 4, 4}, .fifoStatusAt = {2}};
    }
    std::size_t IoctlArgumentSize(unsigned long) const override { return 0; }
    DeviceOutcome_T Ioctl(unsigned long, ByteView_T) override
    {
        seen += " waits";
        return {.interruptWait = true};
    }
    DeviceOutcome_T TakeImage(ByteView_T) override { return {}; }
    std::optional<DeviceOutcome_T> TakeUnasked() override { return DeviceOutcome_T{.reply = {1}}; }

    std::uint8_t round = 0;
    std::string seen;
};

std::string Text(const Bytes_T& bytes)
{
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes)).toHex().toStdString();
}

/// The outcomes of a write and a request, as text.
std::string Round(SoundDevice& device, CFaultyDevice& faulty)
{
    ++device.round;
    device.seen.clear();
    const Bytes_T written = {'a', 'b', 'c', 'd'};
    const auto write = faulty.Write(written);
    const auto ioctl = faulty.Ioctl(0, {});
    return "took " + std::to_string(write.taken.value_or(written.size())) + " error " +
           std::to_string(write.error) + " reply " + Text(write.reply) + " fill " + Text(write.fill) +
           " ioctl " + std::to_string(ioctl.error) + device.seen + write.meaning + ioctl.meaning;
}

} // namespace

TEST(FaultsTest, EachKindHasItsEffectOnItsOperationOnly)
{
    const auto sound = [](const std::string& round) {
        return "took 4 error 0 reply " + round + "070404 fill " + round + "060606 ioctl 0 sees abcd waits";
    };
    const std::string whole = sound("02"), nothing = " reply  fill  ioctl 0 waits";
    struct Row_T {
        std::string fault;
        std::string from; ///< what it changes in the second of three rounds
        std::string to;
        bool explains = false;
    };
    const Row_T rows[] = {
        {"write:2=ENOSPC", whole, "took 4 error 28" + nothing},
        {"write:2=short", whole, "took 2 error 0 reply 02070404 fill 02060606 ioctl 0 sees ab waits", true},
        {"write:2=zero", whole, "took 0 error 0" + nothing, true},
        {"write:2=lying", whole, "took 4 error 0" + nothing, true},
        {"ioctl:2=EBUSY", "ioctl 0 sees abcd waits", "ioctl 16 sees abcd", true},
        {"ioctl:2=lying", " waits", "", true},
        {"interrupt:2=never", "ioctl 0", "ioctl 110"},
        {"reply:2=silent", "02070404", ""},
        {"reply:2=short", "02070404", "020704"},
        {"reply:2=checksum", "02070404", "02070405"},
        {"reply:2=dropped", "02070404", "020704"},
        {"reply:2=corrupted", "02070404", "12171414"},
        {"reply:2=bit", "02070404", "02070504"},
        {"reply:2=stale", "02070404", "01070404"},
        {"fifo:2=5", "02070404", "02070505"},
        {"fill:2=lying", "02060606", ""},
        {"fill:2=short", "02060606", "0206"},
        {"fill:2=zeros", "02060606", "00000000"},
        {"fill:2=stale", "02060606", "01060606"},
        {"fill:2=bit", "02060606", "02060706"},
        {"fill:2=corrupted", "02060606", "12161616"},
    };
    for (const Row_T& row : rows) {
        SoundDevice device;
        CFaultPlan plan({FaultOf(row.fault)});
        CFaultyDevice faulty(device, plan);
        EXPECT_EQ(Round(device, faulty), sound("01"));
        EXPECT_EQ(Round(device, faulty), Replaced(whole, row.from, row.to) + "fault " + row.fault);
        EXPECT_EQ(Round(device, faulty), sound("03"));
        EXPECT_EQ(faulty.TakeImage({}).faulted, row.explains) << row.fault;
        EXPECT_THAT(plan.Untriggered(), testing::IsEmpty());
    }
}

TEST(FaultsTest, FaultsAlsoHitUnaskedReplies)
{
    SoundDevice device;
    CFaultPlan plan({FaultOf("reply:1=late"), FaultOf("reply:2=bytewise"), FaultOf("reply:3=slow"),
                     FaultOf("reply:4=silent")});
    CFaultyDevice faulty(device, plan);
    EXPECT_EQ(faulty.TakeUnasked()->replyDelay, std::chrono::milliseconds(1500));
    EXPECT_EQ(faulty.Write({}).pace, Pace::Bytewise);
    EXPECT_EQ(faulty.TakeUnasked()->pace, Pace::Slow);
    EXPECT_EQ(faulty.TakeUnasked()->reply, Bytes_T{});
    // A stale reply has the length of the one that it replaces.
    CFaultPlan stalePlan({FaultOf("reply:*=stale")});
    CFaultyDevice stale(device, stalePlan);
    EXPECT_EQ(stale.TakeUnasked()->reply, Bytes_T{0}) << "nothing came before the first";
    EXPECT_EQ(stale.Write({}).reply, (Bytes_T{1, 1, 1, 1}));
}

TEST(FaultsTest, DevicesOfAUnitShareTheCountAndTheMark)
{
    SoundDevice device;
    CFaultPlan plan({FaultOf("write:3=EIO"), FaultOf("reply:*=short"), FaultOf("reply:2=short"),
                     FaultOf("ioctl:2=EIO"), FaultOf("fifo:9=1")});
    CFaultyDevice first(device, plan);
    CFaultyDevice second(device, plan);
    first.Ioctl(0, {});
    EXPECT_EQ(first.Write({}).reply.size(), 3U);
    EXPECT_EQ(second.Write({}).reply.size(), 2U);
    EXPECT_EQ(first.Write({}).error, EIO);
    EXPECT_FALSE(first.Write({}).faulted) << "the program was told that the write failed";
    EXPECT_TRUE(second.Ioctl(0, {}).faulted) << "refusals after a failed request may follow from it";
    EXPECT_EQ(
        plan.Untriggered(),
        std::vector<std::string>{"fault fifo:9=1 was never triggered: the run made only 3 fifo operations"});
}

TEST(FaultsTest, AWrongSpecificationIsRefusedWithWhatIsAllowed)
{
    const std::pair<const char*, const char*> rows[] = {
        {"write=EIO", "fault \"write=EIO\": is not of the form OPERATION:NUMBER=KIND"},
        {"seek:1=EIO", "the operation must be write, ioctl, reply, fill, fifo, interrupt, open, read, poll, "
                       "tcsetattr, close, device, file-open, file-read, file-write or file-close"},
        {"write:1x=EIO", "the number must be 1 to 4294967295, or *"},
        {"write:4294967296=EIO", "the number must be 1 to 4294967295, or *"},
        {"write:1=silent", "the kind must be an error's name (such as EIO), short, zero or lying"},
        {"wirte:1=EIO", "file-write or file-close; did you mean write?"},
        {"write:1=EI0", "short, zero or lying; did you mean EIO?"},
        {"reply:1=corupted", "; did you mean corrupted?"},
        {"fill:1=slow", "the kind must be lying, short, zeros, stale, bit or corrupted"},
        {"fifo:1=256", "the kind must be a number from 0 to 255"},
    };
    for (const auto& [fault, why] : rows) {
        EXPECT_THAT(ErrorOf([&text = fault] { FaultOf(text); }), HasSubstr(why));
    }
}
