#include "Utilities/FPGAIFCorSPI.h"
#include "tests/support/ScriptedDevice.h"

#include <gmock/gmock.h>

namespace
{
using testing::ElementsAre;

struct CorSpi : testing::Test {
    ScriptedFactory factory;
    ScriptedDevice& device = factory.devices["x"];
    CFPGAIFCorSpi link{true, "x", &factory};
};

TEST_F(CorSpi, IdentificationWaitsForItsInterrupt)
{
    device.refusedRequest = 0x80047203;
    EXPECT_EQ(link.SetCommandRegister({0x82}), 0); // neither identification nor ping: queued
    EXPECT_EQ(link.SetCommandRegister({0x40}), 0); // sent, and that alone counts for the result
    EXPECT_EQ(link.GetErrorCode(), -144);
    EXPECT_EQ(link.PingNow({0x01}), 0); // not waited for
    EXPECT_THAT(device.operations,
                ElementsAre("open 2 0", "ioctl 80047202", "write 18", "ioctl 80047203", "write 9"));
    EXPECT_EQ(factory.events,
              Lines{"3 -144 CFPGAIFCorSpi::SetCommandRegister: FPGA Transducer ID Interrupt never occurred"});
}

TEST_F(CorSpi, PingsReadTheFifoAndClearItUnlessItIsInOrder)
{
    WireBytes samples(4);
    Buffer_Bytes_T buffer(samples.data(), samples.size());
    device.samples = {1, 2, 3};
    device.replies = {{4, 4}, {0x1F, 0x1F}};
    EXPECT_EQ(link.GetPing(&buffer), 3); // what arrived, not what was asked for
    EXPECT_EQ(samples, (WireBytes{1, 2, 3, 0}));
    EXPECT_THAT(device.operations,
                ElementsAre("open 2 0", "ioctl 80047202", "ioctl 80047205 5343 50 0 1 1", "write 4",
                            "ioctl 80047206", "write 9", "poll 1 1000", "read 2"));
    device.failingWrites = {3};
    EXPECT_EQ(link.GetPing(&buffer), 0);
    EXPECT_EQ(device.writes.back(), Packet(81, {2}));
    EXPECT_EQ(factory.events.back(), "3 0 CFPGAIFCorSpi::ValidateDataCollection: "
                                     "FIFO ERROR:: clearing fifo because fifoStatus 0x1f");
}

TEST_F(CorSpi, APingSectionIsOnlyAskedFor)
{
    WireBytes samples(6000);
    Buffer_Bytes_T buffer(samples.data(), samples.size());
    testing::internal::CaptureStdout();
    EXPECT_EQ(link.GetPingSection(&buffer), 6008); // one packet, however long
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Will need to copy 6008 bytes into Buffer of size 6000 bytes\n");
    EXPECT_EQ(device.writes.back(), Packet(80, samples, 1));
}

TEST_F(CorSpi, ReadingsComeFromTheirRegisters)
{
    device.replies = {{0x21, 0x21}, {0x22, 0x22}, {0x23, 0x23}, {0x50, 0x50}, {0x0A, 0x0A}};
    SWVersion_T version{9, 9};
    bFpgaStatusByte status;
    unsigned char transducer = 0;
    FPGASpeedReading_T speed{0xFFFFFFFF};
    EXPECT_EQ(link.GetVersion(&version), 0);
    EXPECT_EQ(link.GetStatusRegister(&status), 0);
    EXPECT_EQ(link.GetTransducerData(&transducer), 0);
    EXPECT_EQ(link.GetSpeedReading(&speed), 0);
    EXPECT_THAT((std::vector<unsigned>{version.major, version.minor, status.value, transducer, speed.ticks}),
                ElementsAre(0x21, 0, 0x22, 0x23, 0x5A)); // both speed bytes in the low bits
    EXPECT_THAT(device.writes, ElementsAre(Packet(2, {0}, 1), Packet(1, {0}, 1), Packet(66, {0}, 1),
                                           Packet(64, {0}, 1), Packet(65, {0}, 1)));
}
} // namespace
