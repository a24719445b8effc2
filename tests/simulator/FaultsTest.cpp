#include "simulator/Faults.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <stdexcept>

using testing::HasSubstr;

namespace
{

/// A device that always answers a register and the FIFO status, and whose requests are waits for the
/// interrupt.
class SoundDevice final : public IDeviceModel
{
public:
    DeviceOutcome_T Write(ByteView_T) override
    {
        ++writes;
        return {.reply = {7, 7, 4, 4}, .fifoStatusAt = {2}};
    }
    std::size_t IoctlArgumentSize(unsigned long) const override { return 0; }
    DeviceOutcome_T Ioctl(unsigned long, ByteView_T) override { return {.interruptWait = true}; }
    DeviceOutcome_T TakeImage(ByteView_T) override { return {}; }
    std::optional<DeviceOutcome_T> TakeUnasked() override { return DeviceOutcome_T{.reply = {1}}; }

    int writes = 0;
};

} // namespace

TEST(FaultsTest, EachKindDoesWhatItSaysAndOnlyToItsOperation)
{
    struct Row_T {
        const char* fault;
        int writeError;
        int ioctlError;
        Bytes_T reply;
    };
    for (const Row_T& row : {Row_T{"write:2=ENOSPC", ENOSPC, 0, {}},
                             {"reply:2=silent", 0, 0, {}},
                             {"reply:2=short", 0, 0, {7, 7, 4}},
                             {"reply:2=checksum", 0, 0, {7, 7, 4, 5}},
                             {"reply:2=dropped", 0, 0, {7, 7, 4}},
                             {"reply:2=corrupted", 0, 0, {0x17, 0x17, 0x14, 0x14}},
                             {"fifo:2=5", 0, 0, {7, 7, 5, 5}},
                             {"ioctl:2=EBUSY", 0, EBUSY, {7, 7, 4, 4}},
                             {"interrupt:2=never", 0, ETIMEDOUT, {7, 7, 4, 4}}}) {
        SoundDevice device;
        CFaultPlan plan({row.fault});
        CFaultyDevice faulty(device, plan);
        for (const bool strikes : {false, true, false}) {
            const auto write = faulty.Write({});
            const auto ioctl = faulty.Ioctl(0, {});
            EXPECT_EQ(write.error, strikes ? row.writeError : 0) << row.fault;
            EXPECT_EQ(ioctl.error, strikes ? row.ioctlError : 0) << row.fault;
            EXPECT_EQ(write.reply, strikes ? row.reply : (Bytes_T{7, 7, 4, 4})) << row.fault;
            EXPECT_EQ(write.meaning + ioctl.meaning, strikes ? std::string("fault ") + row.fault : "");
        }
        EXPECT_EQ(device.writes, row.writeError != 0 ? 2 : 3) << "a failed write must not arrive";
    }
}

TEST(FaultsTest, RepliesThatNobodyAskedForAreBefallenAsWell)
{
    SoundDevice device;
    CFaultPlan plan({"reply:1=late", "reply:2=bytewise", "reply:3=silent"});
    CFaultyDevice faulty(device, plan);
    EXPECT_EQ(faulty.TakeUnasked()->replyDelay, std::chrono::milliseconds(1500));
    EXPECT_TRUE(faulty.Write({}).isBytewise);
    const auto silent = faulty.TakeUnasked();
    EXPECT_TRUE(silent->reply.empty());
    EXPECT_FALSE(faulty.TakeUnasked()->isBytewise);
}

TEST(FaultsTest, DevicesOfAUnitShareTheCountAndTheMark)
{
    SoundDevice device;
    CFaultPlan plan({"write:3=EIO", "reply:*=short", "reply:2=short", "ioctl:2=EIO", "fifo:9=1"});
    CFaultyDevice first(device, plan);
    CFaultyDevice second(device, plan);
    EXPECT_FALSE(first.Ioctl(0, {}).faulted);
    EXPECT_EQ(first.Write({}).reply.size(), 3U);
    EXPECT_EQ(second.Write({}).reply.size(), 2U);
    EXPECT_EQ(first.Write({}).error, EIO);
    EXPECT_FALSE(first.Write({}).faulted);
    EXPECT_TRUE(second.Ioctl(0, {}).faulted) << "refusals after a failed request may follow from it";
    EXPECT_EQ(plan.Unstruck(), std::vector<std::string>{"fifo:9=1"});
}

TEST(FaultsTest, AWrongSpecificationIsToldWhatIsAllowed)
{
    const std::pair<const char*, const char*> rows[] = {
        {"write=EIO", "fault \"write=EIO\": must read OPERATION:NUMBER=KIND"},
        {"read:1=EIO", "the operation must be write, ioctl, reply, fifo or interrupt"},
        {"write:1x=EIO", "the number must be 1 or more, or *"},
        {"write:1=silent", "the kind must be the name of an error, such as EIO"},
        {"reply:1=slow", "the kind must be silent, short, checksum, dropped, corrupted, late or bytewise"},
        {"fifo:1=256", "the kind must be a number from 0 to 255"},
    };
    for (const auto& [fault, why] : rows) {
        EXPECT_THAT(([text = fault] {
                        CFaultPlan({"write:1=EIO", text});
                    }),
                    testing::ThrowsMessage<std::invalid_argument>(HasSubstr(why)));
    }
}
