#include "simulator/CorFpgaModel.h"
#include "simulator/FirmwareImage.h"
#include "tests/support/CorWire.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <set>

using namespace testing;

namespace
{

constexpr unsigned long c_Configure = 0x80047202;
constexpr unsigned long c_WaitInterrupt = 0x80047203;
constexpr unsigned long c_StartPingRead = 0x80047205;
constexpr unsigned long c_EndPingRead = 0x80047206;
const Bytes_T c_Descriptor = {0x43, 0x53, 0, 0, 80, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};

Bytes_T ReadPacket(std::size_t address, std::size_t count = 1)
{
    return Packet(address, Bytes_T(count, 0), 1);
}

class CorFpgaModelTest : public Test
{
protected:
    CorFpgaModelTest() { model.Ioctl(c_Configure, {}); }

    std::uint8_t Register(std::size_t address) { return model.Write(ReadPacket(address)).reply.at(0); }
    Bytes_T PingRead(std::size_t count)
    {
        EXPECT_EQ(model.Ioctl(c_StartPingRead, c_Descriptor).error, 0);
        const Bytes_T fill = model.Write(Bytes_T(count, 0)).fill;
        EXPECT_EQ(model.Ioctl(c_EndPingRead, {}).error, 0);
        return fill;
    }
    /// Fires a ping of 32 samples.
    void Ping() { model.Write(Packet(16, {2}) + Packet(512, {64}) + Packet(0, {1})); }

    bool isPowered = true;
    CCorFpgaModel model{{.product = "QL4K", .isPowered = [this] { return isPowered; }, .firmwareVersion = 5}};
};

} // namespace

TEST_F(CorFpgaModelTest, EveryAddressTakesExactlyWhatTheRegisterMapAllows)
{
    const std::set<std::size_t> writable = {0,  4,  8,  16, 17, 18, 24, 32, 33, 34,  35,  36,  37,
                                            38, 48, 50, 51, 52, 53, 67, 81, 96, 256, 257, 512, 513};
    const std::set<std::size_t> readable = {1, 2, 64, 65, 66, 80, 82};
    const auto allowed = [&](const Bytes_T& write) { return model.Write(write).refusals.empty(); };
    for (std::size_t address = 0; address <= 0xFFFF; address += address % 0x400 == 0x200 ? 0x1FF : 1) {
        const bool inTable = address >= 0x3000 && address < 0xC000 && address / 0x800 != 7;
        ASSERT_EQ(allowed(Packet(address, {0})), writable.contains(address)) << address;
        ASSERT_EQ(allowed(Packet(address, {0, 0})), address == 56) << address;
        ASSERT_EQ(allowed(Packet(address, {0}, 2)), inTable) << address;
        ASSERT_EQ(allowed(ReadPacket(address)), readable.contains(address)) << address;
        ASSERT_EQ(allowed(ReadPacket(address, 2)), address == 80) << address;
    }
}

TEST_F(CorFpgaModelTest, RefusesWhatItWouldNotUnderstandByNameAndWithoutEffect)
{
    const std::pair<Bytes_T, const char*> rows[] = {
        {{0x53, 0x43, 8, 0, 0, 0, 0, 7, 7}, "offset 9: sync word 0x4353, expected 0x5343"},
        {{0x43, 0x53, 8, 0, 4, 0, 0, 7, 7}, "offset 9: flags 0x04 have unknown bits"},
        {{0x43, 0x53, 8, 0, 0, 0, 1, 7, 7}, "offset 9: length: a packet of 265 bytes in the 9 that are left"},
        {{0x43, 0x53, 8, 0, 0, 0, 0, 7, 8}, "offset 9: checksum 0x08, expected 0x07"},
        {{0x43, 0x53, 2, 0, 1, 0, 0, 7, 0}, "offset 9: payload of a read request is not all zero"},
        {{0x43}, "offset 9: length: 1 bytes are no packet"},
        {Packet(2, {1}), "offset 9: write to Version (0x0002), which is read only"},
        {Packet(0x37FF, {1, 2}, 2), "offset 9: 2 bytes for TvgTable (0x37ff), beyond the end of the table"},
    };
    for (const auto& [bytes, refusal] : rows) {
        const auto outcome = model.Write(Packet(8, {9}) + bytes);
        EXPECT_THAT(outcome.refusals, ElementsAre(refusal));
        EXPECT_EQ(outcome.meaning, "BoostLevel=0x09")
            << "the good packet in front counts, the bad one does not";
        EXPECT_THAT(outcome.reply, IsEmpty()) << refusal;
    }
    EXPECT_EQ(model.Tables(0x37FF, 1)[0], 0);
}

TEST_F(CorFpgaModelTest, DriverRequestsAreHeldToTheirOrderAndArguments)
{
    CCorFpgaModel fresh{{.product = "QL4K", .firmwareVersion = 1}};
    EXPECT_THAT(fresh.Write(ReadPacket(2)).refusals, ElementsAre("write before the device was configured"));
    EXPECT_EQ(fresh.Ioctl(c_WaitInterrupt, {}).error, EINVAL);

    Bytes_T wrong = c_Descriptor;
    wrong[16] = 2;
    EXPECT_EQ(model.Ioctl(0x80047204, {}).error, ENOTTY);
    EXPECT_EQ(model.Ioctl(c_EndPingRead, {}).error, EINVAL);
    EXPECT_EQ(model.Ioctl(c_StartPingRead, {}).error, EFAULT);
    EXPECT_THAT(model.Ioctl(c_StartPingRead, wrong).refusals, ElementsAre(HasSubstr("word 4")));
}

TEST_F(CorFpgaModelTest, TheFifoStatusTellsAnExactReadFromAnyOther)
{
    Ping();
    EXPECT_EQ(Register(82), 2);
    EXPECT_THAT(PingRead(64), Contains(0xFF)) << "the transmit pulse must be seen";
    EXPECT_EQ(Register(82), 4);
    EXPECT_THAT(PingRead(2), Each(0));
    EXPECT_EQ(Register(82), 5);
    model.Write(Packet(81, {2}));
    EXPECT_EQ(Register(82), 4);
    Ping();
    Ping();
    EXPECT_EQ(Register(82), 0x0A);
    EXPECT_EQ(model.Write(ReadPacket(80, 10)).reply.size(), 11U);
    EXPECT_EQ(PingRead(54).size(), 54U);
    EXPECT_EQ(Register(82), 0x0C) << "read packets take from the queue that ping reads take from";
}

TEST_F(CorFpgaModelTest, WithoutFirmwareOrPowerNothingIsKeptOrAnswered)
{
    const Bytes_T good = MakeFirmwareImage("QL4K", 9);
    Bytes_T damaged = good;
    damaged[500] = 0;
    for (const Bytes_T& image :
         {damaged, good + good, {good.begin(), good.end() - 1}, {'1', '\n'}, MakeFirmwareImage("QL6M", 9)}) {
        model.TakeImage(good);
        EXPECT_EQ(Register(2), 9);
        EXPECT_THAT(model.TakeImage(image).meaning, HasSubstr("not loaded"));
        Ping();
        EXPECT_THAT(model.Write(ReadPacket(2) + ReadPacket(82)).reply, ElementsAre(0, 0, 0, 0));
        EXPECT_THAT(PingRead(64), Each(0));
    }
    model.TakeImage(good);
    isPowered = false;
    EXPECT_THAT(model.Write(Packet(8, {3}) + ReadPacket(2)).reply, IsEmpty());
    EXPECT_THAT(PingRead(4), Each(0));
    model.TakeImage(MakeFirmwareImage("QL4K", 7));
    isPowered = true;
    EXPECT_EQ(Register(2), 9);
    EXPECT_EQ(model.Registers(8, 1)[0], 0);
}

TEST_F(CorFpgaModelTest, ThePaddleWheelTicksFromReadingToReading)
{
    CCorFpgaModel fast{{.product = "QL4K", .scene = {.waterSpeed = 10}, .firmwareVersion = 1}};
    fast.Ioctl(c_Configure, {});
    // 200 ticks a second; the count's high byte stays with its low byte.
    for (const int count : {200, 400, 600}) {
        EXPECT_THAT(fast.Write(ReadPacket(64) + ReadPacket(65)).reply,
                    ElementsAre(count & 0xFF, _, count >> 8, _));
    }
}
