#include "Utilities/FPGAIFCorSPI.h"
#include "tests/support/ScriptedDevice.h"

#include <gmock/gmock.h>

namespace
{
using testing::ElementsAre;
using testing::SizeIs;

struct PacketLink : testing::Test {
    void Queue(std::size_t size, unsigned short address = 0)
    {
        WireBytes table(size, 0x11);
        Buffer_Bytes_T data(table.data(), size);
        link.CreateCommandPacket(&data, address, false, true, false);
    }

    ScriptedFactory factory;
    ScriptedDevice& device = factory.devices["x"];
    CFPGAIFCorSpi link{true, "x", &factory};
    WireBytes storage{0xFF, 3};
    Buffer_Bytes_T buffer{storage.data(), storage.size()};
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
} // namespace
