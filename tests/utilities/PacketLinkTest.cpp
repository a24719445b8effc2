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

TEST_F(PacketLink, ATransferNeverGrowsBeyondTheDriversLimit)
{
    for (const std::size_t size : {5048U, 5049U, 5041U, 7U, 5041U, 8U}) {
        Queue(size);
    }
    Queue(5050, 0xF000);
    EXPECT_EQ(link.TransmitDataToFPGA(), 25308U);
    EXPECT_THAT(device.writes, ElementsAre(SizeIs(5056), SizeIs(5057), SizeIs(5064), SizeIs(5049), SizeIs(16),
                                           SizeIs(5057), Packet(0x03B9, {0x11}, 2))); // addresses wrap
}

TEST_F(PacketLink, AFaultyReplyIsReportedAndItsBytesAreKept)
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
    for (const bool pollFails : {false, true}) { // no reply, and a reply that cannot be waited for
        device.replies = pollFails ? std::deque<WireBytes>{{7, 8, 15}} : std::deque<WireBytes>{};
        device.pollFails = pollFails;
        EXPECT_EQ(link.TestFPGAAccess(&buffer, 80, true, false), 0) << pollFails;
        EXPECT_EQ(storage, (WireBytes{1, 0xFF})) << pollFails;
        EXPECT_EQ(device.operations.back(), "poll 1 1000") << pollFails;
    }
}

TEST_F(PacketLink, AfterAFailedWriteTheOtherTransfersAreSent)
{
    EXPECT_EQ(link.UpdateFPGA(), -109); // the queue is empty
    device.failingWrites = {1, 4};
    Queue(10099);
    EXPECT_EQ(link.TransmitDataToFPGA(), 5057U + 9U); // the first is lost, the others are sent
    EXPECT_EQ(link.TestFPGAAccess(&buffer, 80, true, false), -109);
    EXPECT_EQ(link.GetErrorCode(), 5);
    EXPECT_EQ(link.UpdateFPGA(), -109); // the queue is empty, and no reply was waited for
    EXPECT_THAT(device.operations,
                ElementsAre("open 2 0", "ioctl 80047202", "write 5057", "write 5057", "write 9", "write 10"));
    EXPECT_EQ(factory.events, Lines(2, "3 5 CFPGAIFCorSpi::SendData: failed to send data to SPI x"));
}

TEST_F(CorSpi, ATransducerIdentificationWaitsForItsInterrupt)
{
    device.refusedRequest = 0x80047203;
    EXPECT_EQ(link.SetFilterSelectionRegister(PingConfigRxBand_LF), 0);
    EXPECT_EQ(link.SetCommandRegister({0x82}), 0); // neither identification nor ping: queued
    EXPECT_EQ(link.SetCommandRegister({0x40}), 0); // sent; the missing interrupt is no failure
    EXPECT_EQ(link.GetErrorCode(), -144);
    EXPECT_EQ(link.PingNow({0x01}), 0); // does not wait
    device.failingWrites = {3};
    EXPECT_EQ(link.SetCommandRegister({0x04}), -109); // not sent, but waited for
    EXPECT_THAT(device.operations, ElementsAre("open 2 0", "ioctl 80047202", "write 27", "ioctl 80047203",
                                               "write 9", "write 9", "ioctl 80047203"));
    EXPECT_EQ(device.writes.front(), Packet(18, {2}) + Packet(0, {0x82}) + Packet(0, {0x40}));
    const std::string missing =
        "3 -144 CFPGAIFCorSpi::SetCommandRegister: FPGA Transducer ID Interrupt never occurred";
    EXPECT_EQ(factory.events,
              (Lines{missing, "3 5 CFPGAIFCorSpi::SendData: failed to send data to SPI x", missing}));
}

TEST_F(CorSpi, AShortPingReturnsItsLengthAndAFailedOneZero)
{
    WireBytes samples(6000);
    Buffer_Bytes_T buffer(samples.data(), samples.size());
    testing::internal::CaptureStdout();
    EXPECT_EQ(link.GetPingSection(&buffer), 6008); // sends the request as one packet, and reads nothing
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Will need to copy 6008 bytes into Buffer of size 6000 bytes\n");
    EXPECT_EQ(device.writes.back(), Packet(80, samples, 1));
    device.samples = {1, 2, 3};
    device.replies = {{4, 4}, {0x1F, 0x1F}};
    device.failingWrites = {4};
    EXPECT_EQ(link.GetPing(&buffer), 3); // the bytes that arrived
    EXPECT_EQ(link.GetPing(&buffer), 0);
    EXPECT_EQ(factory.events.back(), "3 0 CFPGAIFCorSpi::ValidateDataCollection: "
                                     "FIFO ERROR:: clearing fifo because fifoStatus 0x1f");
}

TEST_F(CorSpi, ASecondSpeedRequestThatFailsLeavesTheFirstByte)
{
    FPGASpeedReading_T speed{0xFFFFFFFF};
    device.replies = {{0x58, 0x58}, {0x1A, 0x1A}};
    device.failingWrites = {2, 3};
    EXPECT_EQ(link.GetSpeedReading(&speed), 0);
    EXPECT_EQ(speed.ticks, 0x58U);
    EXPECT_EQ(link.GetSpeedReading(&speed), -109);
    EXPECT_EQ(speed.ticks, 0x58U) << "the first request failed: the reading is unchanged";
    EXPECT_EQ(link.GetErrorCode(), 5);
}

TEST_F(LumetSpi, PingBytesBecomeFloatsBeyondTheBuffersSize)
{
    std::vector<float> samples(4, -1);
    Buffer_Bytes_T buffer(reinterpret_cast<std::uint8_t*>(samples.data()), samples.size());
    device.samples = {1, 128, 255};
    device.replies = {{0xEE, 0xEE}, {0x1F, 0x1F}}; // both statuses are ignored
    device.failingWrites = {4};
    EXPECT_EQ(link.GetPing(1, &buffer, InterruptMode_T{7}), 0);
    EXPECT_THAT(samples, ElementsAre(1, 128, 255, 0)); // the fourth did not arrive
    EXPECT_EQ(device.operations[2], "ioctl 80047205 5343 8050 7 1 1");
    EXPECT_EQ(device.writes.back(), Packet(0x8052, {0}, 1));
    EXPECT_EQ(link.GetPing(0, &buffer, InterruptMode_T{}), 5);
    EXPECT_EQ(samples.front(), 1);
}

TEST_F(LumetSpi, ACorrelationFilterIsPaddedToAMultipleOf512)
{
    for (const std::size_t entries : {1U, 512U, 513U}) {
        link.SetCorrelationFilter(CorrelationFilterCoefficients_T(entries, {-2, 0x0102}), 1);
        link.UpdateFPGA();
    }
    EXPECT_EQ(device.writes[0], Packet(0xA000, WireBytes{0xFE, 0xFF, 2, 1} + WireBytes(2044), 2));
    EXPECT_THAT(device.writes, ElementsAre(SizeIs(2056), SizeIs(2056), SizeIs(4104)));
}

TEST_F(LumetSpi, AWriteOfADebugRegisterReadsAReply)
{
    bLumetStatusByte status{};
    device.replies = {{0x77, 0x77}, {0x21, 0x21}};
    device.failingWrites = {3};
    EXPECT_EQ(link.SetDebugRegister({0xA5}, 0x4051), 0);
    EXPECT_EQ(link.GetDebugRegister(&status, 0x8052), 0); // reads its own reply, not that of the write
    EXPECT_EQ(status.value, 0x21);
    EXPECT_EQ(link.SetDebugRegister({1}, 2), -109);
    EXPECT_THAT(device.writes, ElementsAre(Packet(0x4051, {0xA5}), Packet(0x8052, {0}, 1), Packet(2, {1})));
}
} // namespace
