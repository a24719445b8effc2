#include "Utilities/FPGAIFLumetSPI.h"
#include "tests/support/ScriptedDevice.h"

#include <gmock/gmock.h>

namespace
{
using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

struct LumetSpi : testing::Test {
    ScriptedFactory factory;
    ScriptedDevice& device = factory.devices["x"];
    CFPGAIFLumetSPI link{"x", &factory};
};

TEST_F(LumetSpi, PingBytesBecomeFloatsBeyondTheBuffersSize)
{
    std::vector<float> samples(4, -1);
    Buffer_Bytes_T buffer(reinterpret_cast<std::uint8_t*>(samples.data()), samples.size());
    device.samples = {1, 128, 255};
    device.replies = {{0xEE, 0xEE}, {0x1F, 0x1F}}; // neither status matters
    device.failingWrites = {4};
    EXPECT_EQ(link.GetPing(1, &buffer, InterruptMode_T{7}), 0);
    EXPECT_THAT(samples, ElementsAre(1, 128, 255, 0)); // the fourth did not arrive
    EXPECT_EQ(link.GetPing(0, &buffer, InterruptMode_T{}), 5);
    EXPECT_EQ(samples.front(), 1);
    EXPECT_THAT(device.operations,
                ElementsAre("open 2 0", "ioctl 80047202", "ioctl 80047205 5343 8050 7 1 1", "write 4",
                            "ioctl 80047206", "write 9", "poll 1 1000", "read 2", "write 9", "poll 1 1000",
                            "read 2", "ioctl 80047205 5343 4050 0 1 1", "write 4", "ioctl 80047206",
                            "write 9", "poll 1 1000", "write 9", "poll 1 1000"));
    EXPECT_THAT(device.writes, Contains(Packet(0x8052, {0}, 1)));
}

TEST_F(LumetSpi, CorrelationFiltersEndWithAWholePiece)
{
    for (const std::size_t entries : {1U, 512U, 513U}) {
        link.SetCorrelationFilter(CorrelationFilterCoefficients_T(entries, {-2, 0x0102}), 1);
        link.UpdateFPGA();
    }
    EXPECT_EQ(device.writes[0], Packet(0xA000, WireBytes{0xFE, 0xFF, 2, 1} + WireBytes(2044), 2));
    EXPECT_THAT(device.writes, ElementsAre(SizeIs(2056), SizeIs(2056), SizeIs(4104)));
}

TEST_F(LumetSpi, AWrittenDebugRegisterIsAnswered)
{
    bLumetStatusByte status{};
    CorFPGA24BitADCValue_T value = 9;
    device.replies = {{0x77, 0x77}, {0x21, 0x21}};
    device.failingWrites = {3, 4};
    EXPECT_EQ(link.SetDebugRegister({0xA5}, 0x4051), 0);
    EXPECT_EQ(link.GetDebugRegister(&status, 0x8052), 0); // and gets its own reply, not the other
    EXPECT_EQ(link.SetDebugRegister({1}, 2), -109);
    EXPECT_EQ(link.GetADCValue(128, &value), -109);
    EXPECT_THAT((std::vector<unsigned>{status.value, value}), ElementsAre(0x21, 9));
    EXPECT_THAT(device.writes, ElementsAre(Packet(0x4051, {0xA5}), Packet(0x8052, {0}, 1), Packet(2, {1}),
                                           Packet(128, {0, 0, 0}, 3)));
}
} // namespace
