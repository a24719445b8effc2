#include "simulator/LumetFpgaModel.h"
#include "simulator/FirmwareImage.h"
#include "tests/support/CorWire.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

using namespace testing;

namespace
{

Bytes_T ReadPacket(std::size_t address, std::size_t count = 1, std::uint8_t flags = 1)
{
    return Packet(address, Bytes_T(count, 0), flags);
}

class LumetFpgaModelTest : public Test
{
protected:
    LumetFpgaModelTest() { model.Ioctl(0x80047202, {}); }

    Bytes_T Reply(const Bytes_T& write) { return model.Write(write).reply; }
    /// Reads count samples of a channel in a given interrupt mode.
    Bytes_T PingRead(std::uint8_t channel, std::size_t count, std::uint8_t mode = 0)
    {
        const auto high = static_cast<std::uint8_t>(0x40 * (channel + 1));
        const Bytes_T descriptor = {0x43, 0x53, 0, 0, 0x50, high, 0, 0, mode, 0,
                                    0,    0,    1, 0, 0,    0,    1, 0, 0,    0};
        EXPECT_EQ(model.Ioctl(0x80047205, descriptor).error, 0);
        const Bytes_T fill = model.Write(Bytes_T(count, 0)).fill;
        EXPECT_EQ(model.Ioctl(0x80047206, {}).error, 0);
        return fill;
    }

    CLumetFpgaModel model{{.product = "LumetV2", .firmwareVersion = 5, .needsReset = true}};
};

} // namespace

TEST_F(LumetFpgaModelTest, BlockFlagWidthAndDirectionAreHeldAgainstTheMapOnBothChannels)
{
    const std::pair<Bytes_T, const char*> rows[] = {
        {Packet(0x4209, {1}) + Packet(0x8209, {1}) + Packet(113, {1, 2}, 2) + Packet(0x9FFF, {1}, 2) +
             Packet(0xDFFF, {1}, 2) + ReadPacket(0x8050, 9) + ReadPacket(136, 3, 3),
         ""},
        {Packet(0xE010, {1}), "write to unknown register 0xe010"},
        {Packet(113, {1, 2}), "block flag missing on WifiLed"},
        {ReadPacket(132, 2, 3), "2 bytes for WaterTemperature (0x0084), which takes 3"},
        {Packet(0x8052, {1}), "write to Ch1.FifoStatus"},
        {ReadPacket(0x4050, 1, 3), "block flag set on Ch0.FifoData"},
        {Packet(0x9FFF, {1, 2}, 2), "2 bytes for Ch0.CorrelationTable (0x9fff), beyond the end"},
    };
    for (const auto& [bytes, refusal] : rows) {
        const auto refusals = model.Write(bytes).refusals;
        EXPECT_EQ(refusals.empty(), *refusal == 0) << refusal;
        EXPECT_THAT(refusals, Each(HasSubstr(refusal)));
    }
    // A long table of the first channel reaches over the registers of the second.
    model.Write(Packet(0x8010, {7}) + Packet(0x8010, Bytes_T(64, 9), 2));
    EXPECT_THAT(model.Registers(0x8010, 2), ElementsAre(7, 0));
    EXPECT_THAT(model.Tables(0x8010, 2), ElementsAre(9, 9));
}

TEST_F(LumetFpgaModelTest, ACommandPingsTheChannelsThatItNames)
{
    // 400 samples of 43 microseconds; 205 cycles of 200 kHz are a millisecond.
    for (const std::size_t base : {0x4000U, 0x8000U}) {
        model.Write(Packet(base + 0x10, {25}) + Packet(base + 0x42, {3}) + Packet(base + 0x200, {0xC3}) +
                    Packet(base + 0x201, {0x9B}) + Packet(base + 0x202, {0xB8}) +
                    Packet(base + 0x208, {205}));
    }
    const auto loaded = [&] { return Bytes_T{Reply(ReadPacket(0x4052))[0], Reply(ReadPacket(0x8052))[0]}; };
    model.Write(Packet(0, {1}) + Packet(0, {6}));
    EXPECT_THAT(loaded(), ElementsAre(4, 4)) << "no channel named, or not fired";
    model.Write(Packet(0, {3}));
    EXPECT_THAT(loaded(), ElementsAre(2, 4));
    model.Write(Packet(0, {5}));
    EXPECT_EQ(PingRead(0, 400).size(), 400U);
    EXPECT_THAT(loaded(), ElementsAre(4, 2));

    // The fish at 13 m comes back after 17.3 ms, which is sample 401 at this rate; the one at 8 m is 247.
    const Bytes_T samples = PingRead(1, 400, 1);
    EXPECT_THAT(loaded(), ElementsAre(4, 4));
    EXPECT_EQ(samples.front(), 255);
    const auto fish = std::max_element(samples.begin() + 100, samples.end()) - samples.begin();
    EXPECT_NEAR(static_cast<double>(fish), 247, 3);
}

TEST_F(LumetFpgaModelTest, AnalogueAndDebugRegistersAnswerAsTheyStandInTheMap)
{
    const auto reading = [&](std::size_t address) {
        const Bytes_T reply = Reply(ReadPacket(address, 3, 3));
        EXPECT_EQ(reply.at(3), static_cast<std::uint8_t>(reply[0] + reply[1] + reply[2]));
        return reply[0] | reply[1] << 8 | reply[2] << 16;
    };
    const double ratio = reading(132) / static_cast<double>(reading(128));
    EXPECT_NEAR(-std::log((ratio * 10 - 1) / 27.334) / 0.04, 15, 1e-4);
    EXPECT_GT(reading(136), 0);
    EXPECT_THAT(Reply(Packet(0xF3, {0x81})), ElementsAre(0x81, 0x81)) << "a debug write is answered";
    EXPECT_THAT(Reply(ReadPacket(0xF3)), ElementsAre(0x81, 0x81));
    EXPECT_THAT(Reply(Packet(8, {0x81})), IsEmpty());
}

TEST_F(LumetFpgaModelTest, AnImageNeedsTheResetBeforeIt)
{
    const Bytes_T reset = {'1', '\n'}, image = MakeFirmwareImage("LumetV2", 9);
    const auto version = [&] { return Reply(ReadPacket(2)).at(0); };
    EXPECT_EQ(model.TakeImage(image).meaning, "not loaded: no reset before it");
    EXPECT_EQ(version(), 5);
    EXPECT_EQ(model.TakeImage(reset).meaning, "reset");
    EXPECT_EQ(version(), 0);
    model.TakeImage(image);
    EXPECT_EQ(version(), 9);
    EXPECT_EQ(model.TakeImage(reset + image).meaning, "reset; firmware of LumetV2, version 9");
}
