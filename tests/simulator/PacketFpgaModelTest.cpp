#include "simulator/models/CorFpgaModel.h"
#include "simulator/models/FpgaFirmware.h"
#include "simulator/models/LumetFpgaModel.h"
#include "tests/support/CorWire.h"

#include <gmock/gmock.h>

#include <cerrno>

using namespace testing;

namespace
{

constexpr unsigned long c_Configure = 0x80047202;
constexpr unsigned long c_WaitInterrupt = 0x80047203;
constexpr unsigned long c_StartPingRead = 0x80047205;
constexpr unsigned long c_EndPingRead = 0x80047206;
const Bytes_T c_Descriptor = {0x43, 0x53, 0, 0, 80, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};

Bytes_T ReadPacket(std::size_t address, std::size_t count = 1, std::uint8_t flags = 1)
{
    return Packet(address, Bytes_T(count, 0), flags);
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
    /// Fires a ping of 32 samples, with a pulse and a filter of one entry each.
    void Ping()
    {
        model.Write(Packet(0x4000, {0xFF, 3, 0, 0x10}, 2) + Packet(0x8000, {8, 0, 0, 0}, 2) +
                    Packet(50, {1}) + Packet(16, {2}) + Packet(512, {1}) + Packet(0, {1}));
    }

    bool isPowered = true;
    CCorFpgaModel model{{.product = "QL4K", .isPowered = [this] { return isPowered; }, .firmwareVersion = 5}};
};

class LumetFpgaModelTest : public Test
{
protected:
    LumetFpgaModelTest() { model.Ioctl(0x80047202, {}); }

    CLumetFpgaModel model{{.product = "LumetV2", .firmwareVersion = 5, .needsReset = true}};
};

} // namespace

TEST_F(CorFpgaModelTest, RefusesWhatItWouldNotUnderstandByNameAndWithoutEffect)
{
    const std::pair<Bytes_T, const char*> rows[] = {
        {{0x53, 0x43, 8, 0, 0, 0, 0, 7, 7}, "offset 9: sync word 0x4353, expected 0x5343"},
        {{0x43, 0x53, 8, 0, 4, 0, 0, 7, 7}, "offset 9: flags 0x04 have unknown bits"},
        {{0x43, 0x53, 8, 0, 0, 0, 1, 7, 7}, "offset 9: length: a packet of 265 bytes in the 9 that are left"},
        {{0x43, 0x53, 8, 0, 0, 0, 0, 7, 8}, "offset 9: checksum 0x08, expected 0x07"},
        {{0x43, 0x53, 2, 0, 1, 0, 0, 7, 0}, "offset 9: payload of a read request is not all zero"},
        {{0x43}, "offset 9: length: 1 byte cannot be a packet"},
        {Packet(2, {1}), "offset 9: write to Version (0x0002), which is read only"},
        {ReadPacket(8), "offset 9: read of BoostLevel (0x0008), which is write only"},
        {Packet(9, {1}), "offset 9: write to unknown register 0x0009"},
        {Packet(8, {1}, 2), "offset 9: block flag set on BoostLevel (0x0008)"},
        {Packet(0x3000, {1, 2}), "offset 9: block flag missing on TvgTable (0x3000)"},
        {Packet(8, {1, 2}), "offset 9: 2 bytes for BoostLevel (0x0008), which takes 1"},
        {Packet(0x37FF, {1, 2}, 2), "offset 9: 2 bytes for TvgTable (0x37ff), beyond the end of the table"},
    };
    for (const auto& [bytes, refusal] : rows) {
        const auto outcome = model.Write(Packet(8, {9}) + bytes);
        EXPECT_THAT(outcome.refusals, ElementsAre(refusal));
        EXPECT_EQ(outcome.meaning, "BoostLevel=0x09")
            << "the good packet in front counts, the bad one does not";
        EXPECT_THAT(outcome.reply, IsEmpty()) << refusal;
        EXPECT_EQ(outcome.linkTime, std::chrono::nanoseconds((9 + bytes.size()) * 1000 / 3)) << "at 24 MHz";
    }
    EXPECT_EQ(model.Tables(0x37FF, 1)[0], 0);
}

TEST_F(CorFpgaModelTest, DriverRequestsNeedTheirOrderAndArguments)
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

TEST_F(CorFpgaModelTest, TheFifoStatusShowsWhetherAReadWasExact)
{
    Ping();
    EXPECT_EQ(Register(82), 2);
    EXPECT_THAT(PingRead(64), Contains(0xFF)) << "the transmit pulse must show";
    EXPECT_EQ(Register(82), 4);
    EXPECT_THAT(PingRead(2), Each(0));
    for (const std::uint8_t control : Bytes_T{0, 1, 3, 0xFF}) {
        model.Write(Packet(81, {control}));
        EXPECT_EQ(Register(82), 5) << "only 2 clears the FIFO, " << int{control} << " does not";
    }
    model.Write(Packet(81, {2}));
    EXPECT_EQ(Register(82), 4);
    Ping();
    Ping();
    EXPECT_EQ(Register(82), 0x0A);
    EXPECT_EQ(model.Write(ReadPacket(80, 10)).reply.size(), 11U);
    EXPECT_EQ(PingRead(54).size(), 54U);
    EXPECT_EQ(Register(82), 0x0C) << "read packets take from the queue that ping reads take from";
}

TEST_F(CorFpgaModelTest, NothingIsKeptOrAnsweredWithoutFirmwareOrPower)
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

TEST_F(LumetFpgaModelTest, BothChannelsTakeWhatTheMapAllows)
{
    const auto refusals = [&](const Bytes_T& write) { return model.Write(write).refusals; };
    EXPECT_THAT(refusals(Packet(0x4209, {1}) + Packet(0x8209, {1}) + Packet(113, {1, 2}, 2) +
                         Packet(0x9FFF, {1}, 2) + Packet(0xDFFF, {1}, 2) + ReadPacket(0x8050, 9) +
                         ReadPacket(136, 3, 3)),
                IsEmpty());
    EXPECT_THAT(refusals(ReadPacket(132, 2, 3)),
                ElementsAre("offset 0: 2 bytes for WaterTemperature (0x0084), which takes 3"));
    EXPECT_THAT(refusals(Packet(0x8052, {1})), ElementsAre(HasSubstr("write to Ch1.FifoStatus")));
    // A long table of the first channel covers the addresses of the second channel's registers.
    model.Write(Packet(0x8010, {7}) + Packet(0x8010, Bytes_T(64, 9), 2));
    EXPECT_THAT(model.Registers(0x8010, 2), ElementsAre(7, 0));
    EXPECT_THAT(model.Tables(0x8010, 2), ElementsAre(9, 9));
}

TEST_F(LumetFpgaModelTest, AnImageNeedsTheResetBeforeIt)
{
    const Bytes_T reset = {'1', '\n'}, image = MakeFirmwareImage("LumetV2", 9);
    const auto version = [&] { return model.Write(ReadPacket(2)).reply.at(0); };
    EXPECT_EQ(model.TakeImage(image).meaning, "not loaded: no reset before it");
    EXPECT_EQ(version(), 5);
    EXPECT_EQ(model.TakeImage(reset).meaning, "reset");
    EXPECT_EQ(version(), 0);
    model.TakeImage(image);
    EXPECT_EQ(version(), 9);
    EXPECT_EQ(model.TakeImage(reset + image).meaning, "reset; firmware of LumetV2, version 9");
}
