#include "simulator/Faults.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <sstream>
#include <stdexcept>

using testing::HasSubstr;

namespace
{

/// A device that always answers a register and the FIFO status, the first byte of a reply and the samples of
/// a ping being the count of writes, and whose requests are waits for the interrupt.
class SoundDevice final : public IDeviceModel
{
public:
    DeviceOutcome_T Write(ByteView_T bytes) override
    {
        arrived.append(bytes.begin(), bytes.end()).append("|");
        const std::uint8_t count = ++writes;
        return {.fill = {count, 6, 6, 6}, .reply = {count, 7, 4, 4}, .fifoStatusAt = {2}};
    }
    std::size_t IoctlArgumentSize(unsigned long) const override { return 0; }
    DeviceOutcome_T Ioctl(unsigned long, ByteView_T) override
    {
        ++requests;
        return {.interruptWait = true};
    }
    DeviceOutcome_T TakeImage(ByteView_T) override { return {}; }
    std::optional<DeviceOutcome_T> TakeUnasked() override { return DeviceOutcome_T{.reply = {1}}; }

    std::string arrived;
    std::uint8_t writes = 0;
    int requests = 0;
};

} // namespace

TEST(FaultsTest, EachKindDoesWhatItSaysAndOnlyToItsOperation)
{
    /// What the second of three rounds is like.
    struct Row_T {
        const char* fault;
        Bytes_T reply = {2, 7, 4, 4};
        Bytes_T fill = {2, 6, 6, 6};
        int writeError = 0;
        std::size_t taken = 4;
        const char* arrived = "abcd|abcd|abcd|";
        int ioctlError = 0;
        int requests = 3;
        bool explains = false;
    };
    const Row_T rows[] = {
        {.fault = "write:2=ENOSPC", .reply = {}, .fill = {}, .writeError = ENOSPC, .arrived = "abcd|abcd|"},
        {.fault = "write:2=short", .taken = 2, .arrived = "abcd|ab|abcd|", .explains = true},
        {.fault = "write:2=zero",
         .reply = {},
         .fill = {},
         .taken = 0,
         .arrived = "abcd|abcd|",
         .explains = true},
        {.fault = "write:2=lying", .reply = {}, .fill = {}, .arrived = "abcd|abcd|", .explains = true},
        {.fault = "ioctl:2=EBUSY", .ioctlError = EBUSY, .requests = 2, .explains = true},
        {.fault = "ioctl:2=lying", .requests = 2, .explains = true},
        {.fault = "interrupt:2=never", .ioctlError = ETIMEDOUT},
        {.fault = "reply:2=silent", .reply = {}},
        {.fault = "reply:2=short", .reply = {2, 7, 4}},
        {.fault = "reply:2=checksum", .reply = {2, 7, 4, 5}},
        {.fault = "reply:2=dropped", .reply = {2, 7, 4}},
        {.fault = "reply:2=corrupted", .reply = {0x12, 0x17, 0x14, 0x14}},
        {.fault = "reply:2=bit", .reply = {2, 7, 5, 4}},
        {.fault = "reply:2=stale", .reply = {1, 7, 4, 4}},
        {.fault = "fifo:2=5", .reply = {2, 7, 5, 5}},
        {.fault = "fill:2=lying", .fill = {}},
        {.fault = "fill:2=short", .fill = {2, 6}},
        {.fault = "fill:2=zeros", .fill = {0, 0, 0, 0}},
        {.fault = "fill:2=stale", .fill = {1, 6, 6, 6}},
        {.fault = "fill:2=bit", .fill = {2, 6, 7, 6}},
        {.fault = "fill:2=corrupted", .fill = {0x12, 0x16, 0x16, 0x16}},
    };
    const Bytes_T written = {'a', 'b', 'c', 'd'};
    for (const Row_T& row : rows) {
        const Row_T sound{};
        SoundDevice device;
        CFaultPlan plan({row.fault});
        CFaultyDevice faulty(device, plan);
        for (const bool strikes : {false, true, false}) {
            const Row_T& now = strikes ? row : sound;
            const auto write = faulty.Write(written);
            const auto ioctl = faulty.Ioctl(0, {});
            EXPECT_EQ(write.error, now.writeError) << row.fault;
            EXPECT_EQ(write.taken.value_or(written.size()), now.taken) << row.fault;
            EXPECT_EQ(ioctl.error, now.ioctlError) << row.fault;
            if (strikes) {
                EXPECT_EQ(write.reply, row.reply) << row.fault;
                EXPECT_EQ(write.fill, row.fill) << row.fault;
            } else {
                EXPECT_EQ(write.reply, (Bytes_T{device.writes, 7, 4, 4})) << row.fault;
                EXPECT_EQ(write.fill, (Bytes_T{device.writes, 6, 6, 6})) << row.fault;
            }
            EXPECT_EQ(write.meaning + ioctl.meaning, strikes ? std::string("fault ") + row.fault : "");
        }
        EXPECT_EQ(device.arrived, row.arrived) << row.fault;
        EXPECT_EQ(device.requests, row.requests) << row.fault;
        EXPECT_EQ(faulty.TakeImage({}).faulted, row.explains) << row.fault;
        EXPECT_TRUE(plan.Unstruck().empty()) << row.fault;
    }
}

TEST(FaultsTest, AStaleReplyHasTheLengthOfItsOwn)
{
    SoundDevice device;
    CFaultPlan plan({"reply:*=stale"});
    CFaultyDevice faulty(device, plan);
    EXPECT_EQ(faulty.Write({}).reply, (Bytes_T{0, 0, 0, 0})) << "nothing came before the first";
    EXPECT_EQ(faulty.TakeUnasked()->reply, Bytes_T{1});
    EXPECT_EQ(faulty.Write({}).reply, (Bytes_T{1, 1, 1, 1}));
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
    first.Ioctl(0, {});
    EXPECT_EQ(first.Write({}).reply.size(), 3U);
    EXPECT_EQ(second.Write({}).reply.size(), 2U);
    EXPECT_EQ(first.Write({}).error, EIO);
    EXPECT_FALSE(first.Write({}).faulted) << "the program was told that the write failed";
    EXPECT_TRUE(second.Ioctl(0, {}).faulted) << "refusals after a failed request may follow from it";
    EXPECT_EQ(plan.Unstruck(), std::vector<std::string>{"fifo:9=1"});
}

TEST(FaultsTest, AWrongSpecificationIsToldWhatIsAllowed)
{
    const std::pair<const char*, const char*> rows[] = {
        {"write=EIO", "fault \"write=EIO\": must read OPERATION:NUMBER=KIND"},
        {"seek:1=EIO", "the operation must be write, ioctl, reply, fill, fifo, interrupt, open, read, poll, "
                       "tcsetattr, close, device, file-open, file-read, file-write or file-close"},
        {"write:1x=EIO", "the number must be 1 or more, or *"},
        {"write:1=silent", "the kind must be an error's name (such as EIO), short, zero or lying"},
        {"fill:1=slow", "the kind must be lying, short, zeros, stale, bit or corrupted"},
        {"fifo:1=256", "the kind must be a number from 0 to 255"},
    };
    for (const auto& [fault, why] : rows) {
        EXPECT_THAT(([text = fault] {
                        CFaultPlan({"write:1=EIO", text});
                    }),
                    testing::ThrowsMessage<std::invalid_argument>(HasSubstr(why)));
    }
}

TEST(FaultsTest, TheListNamesWhatAFaultCanBe)
{
    std::istringstream list(FaultList());
    std::size_t count = 0;
    for (std::string operation, kind; list >> operation >> kind; ++count) {
        const std::string value = kind == "ERRNO" ? "EIO" : kind == "VALUE" ? "4" : kind;
        EXPECT_NO_THROW(FaultOf(operation + ":1=" + value));
        EXPECT_THAT(FaultHelp(), HasSubstr("  " + operation + ":N=" + kind + " "));
    }
    EXPECT_GT(count, c_FaultOperationNames.size());
}
