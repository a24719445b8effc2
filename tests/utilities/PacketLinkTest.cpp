#include "Utilities/FPGAIFCorSPI.h"
#include "Utilities/FPGAIFLumetSPI.h"
#include "tests/support/ScriptedDevice.h"

#include <gmock/gmock.h>

namespace
{
using testing::ElementsAre;
using testing::SizeIs;

struct OnADevice : testing::Test {
    ScriptedFactory factory;
    ScriptedDevice& device = factory.devices["x"];
};

struct CorSpi : OnADevice {
    CFPGAIFCorSpi link{true, "x", &factory};
};

struct PacketLink : CorSpi {
    void Queue(std::size_t size, unsigned short address = 0)
    {
        WireBytes table(size, 0x11);
        Buffer_Bytes_T data(table.data(), size);
        link.CreateCommandPacket(&data, address, false, true, false);
    }

    WireBytes storage{0xFF, 3};
    Buffer_Bytes_T buffer{storage.data(), storage.size()};
};

struct LumetSpi : OnADevice {
    CFPGAIFLumetSPI link{"x", &factory};
};

TEST_F(PacketLink, TransfersFillUpToTheDriversLimitAndNoFurther)
{
    for (const std::size_t size : {5048U, 5049U, 5041U, 7U, 5041U, 8U}) {
        Queue(size);
    }
    Queue(5050, 0xF000);
    EXPECT_EQ(link.TransmitDataToFPGA(), 25308U);
    EXPECT_THAT(device.writes, ElementsAre(SizeIs(5056), SizeIs(5057), SizeIs(5064), SizeIs(5049), SizeIs(16),
                                           SizeIs(5057), Packet(0x03B9, {0x11}, 2))); // addresses wrap
}

TEST_F(PacketLink, RepliesAreTakenWithWhatWentWrong)
{
    const std::vector<std::tuple<WireBytes, WireBytes, std::string>> cases{
        {{0xA5, 0xB4, 0x0F},
         {0xA5, 0xB4},
         "3 0 CFPGAIFCorSpi::ReceiveData: chksum ERROR : calculated 59 received f"},
        {{}, {0xA5, 0xB4}, "3 5 CFPGAIFCorSpi::ReceiveData: failed to read data from SPI x"},
        {{1, 0xFF, 0}, {1, 0xFF}, ""}};
    for (const auto& [reply, value, event] : cases) {
        device.replies = {reply};
        factory.events = {""};
        EXPECT_EQ(link.TestFPGAAccess(&buffer, 80, true, false), 0);
        EXPECT_EQ(link.GetErrorCode(), reply.empty() ? 5 : 0);
        EXPECT_EQ(storage, value);
        EXPECT_EQ(factory.events.back(), event);
    }
    EXPECT_EQ(link.TestFPGAAccess(&buffer, 80, true, false), 0); // silent
    EXPECT_EQ(storage, (WireBytes{1, 0xFF}));
    EXPECT_EQ(device.operations.back(), "poll 1 1000");
}

TEST_F(PacketLink, FailedWritesStopNeitherTheRestNorTheNextTransmit)
{
    EXPECT_EQ(link.UpdateFPGA(), -109); // an empty queue writes nothing
    device.failingWrites = {1, 4};
    Queue(10099);
    EXPECT_EQ(link.TransmitDataToFPGA(), 5057U + 9U); // the first is lost, the others go out
    EXPECT_EQ(link.TestFPGAAccess(&buffer, 80, true, false), -109);
    EXPECT_EQ(link.GetErrorCode(), 5);
    EXPECT_EQ(link.UpdateFPGA(), -109); // nothing is left over, and nobody waits for a reply
    EXPECT_THAT(device.operations,
                ElementsAre("open 2 0", "ioctl 80047202", "write 5057", "write 5057", "write 9", "write 10"));
    EXPECT_EQ(factory.events, Lines(2, "3 5 CFPGAIFCorSpi::SendData: failed to send data to SPI x"));
}
TEST_F(CorSpi, IdentificationWaitsForItsInterrupt)
{
    device.refusedRequest = 0x80047203;
    EXPECT_EQ(link.SetFilterSelectionRegister(PingConfigRxBand_LF), 0);
    EXPECT_EQ(link.SetCommandRegister({0x82}), 0); // neither identification nor ping: queued
    EXPECT_EQ(link.SetCommandRegister({0x40}), 0); // sent, and that alone counts for the result
    EXPECT_EQ(link.GetErrorCode(), -144);
    EXPECT_EQ(link.PingNow({0x01}), 0); // not waited for
    EXPECT_THAT(device.operations,
                ElementsAre("open 2 0", "ioctl 80047202", "write 27", "ioctl 80047203", "write 9"));
    EXPECT_EQ(device.writes.front(), Packet(18, {2}) + Packet(0, {0x82}) + Packet(0, {0x40}));
    EXPECT_EQ(factory.events,
              Lines{"3 -144 CFPGAIFCorSpi::SetCommandRegister: FPGA Transducer ID Interrupt never occurred"});
}

TEST_F(CorSpi, APingThatFallsShortOrFailsIsTold)
{
    WireBytes samples(6000);
    Buffer_Bytes_T buffer(samples.data(), samples.size());
    testing::internal::CaptureStdout();
    EXPECT_EQ(link.GetPingSection(&buffer), 6008); // only asked for: one packet, however long
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Will need to copy 6008 bytes into Buffer of size 6000 bytes\n");
    EXPECT_EQ(device.writes.back(), Packet(80, samples, 1));
    device.samples = {1, 2, 3};
    device.replies = {{4, 4}, {0x1F, 0x1F}};
    device.failingWrites = {4};
    EXPECT_EQ(link.GetPing(&buffer), 3); // what arrived, not what was asked for
    EXPECT_EQ(link.GetPing(&buffer), 0);
    EXPECT_EQ(factory.events.back(), "3 0 CFPGAIFCorSpi::ValidateDataCollection: "
                                     "FIFO ERROR:: clearing fifo because fifoStatus 0x1f");
}
TEST_F(LumetSpi, PingBytesBecomeFloatsBeyondTheBuffersSize)
{
    std::vector<float> samples(4, -1);
    Buffer_Bytes_T buffer(reinterpret_cast<std::uint8_t*>(samples.data()), samples.size());
    device.samples = {1, 128, 255};
    device.replies = {{0xEE, 0xEE}, {0x1F, 0x1F}}; // neither status matters
    device.failingWrites = {4};
    EXPECT_EQ(link.GetPing(1, &buffer, InterruptMode_T{7}), 0);
    EXPECT_THAT(samples, ElementsAre(1, 128, 255, 0)); // the fourth did not arrive
    EXPECT_EQ(device.operations[2], "ioctl 80047205 5343 8050 7 1 1");
    EXPECT_EQ(device.writes.back(), Packet(0x8052, {0}, 1));
    EXPECT_EQ(link.GetPing(0, &buffer, InterruptMode_T{}), 5);
    EXPECT_EQ(samples.front(), 1);
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
    device.replies = {{0x77, 0x77}, {0x21, 0x21}};
    device.failingWrites = {3};
    EXPECT_EQ(link.SetDebugRegister({0xA5}, 0x4051), 0);
    EXPECT_EQ(link.GetDebugRegister(&status, 0x8052), 0); // and gets its own reply, not the other
    EXPECT_EQ(status.value, 0x21);
    EXPECT_EQ(link.SetDebugRegister({1}, 2), -109);
    EXPECT_THAT(device.writes, ElementsAre(Packet(0x4051, {0xA5}), Packet(0x8052, {0}, 1), Packet(2, {1})));
}
} // namespace
