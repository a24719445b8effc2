#include "simulator/models/FpgaFirmware.h"
#include "simulator/models/LowscanSpiModel.h"
#include "simulator/models/LowscanUartModel.h"
#include "simulator/models/WireBytes.h"
#include "tests/support/CorWire.h"
#include "tests/support/LowscanLine.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

using namespace testing;

namespace
{

Bytes_T Frame(std::uint8_t address, std::uint32_t value)
{
    Bytes_T frame = Bytes_T{0xF5} + LowscanRecord(address, value);
    frame.push_back(SumOfBytes(frame));
    return frame;
}

class LowscanFpgaModelTest : public Test
{
protected:
    LowscanFpgaModelTest()
    {
        first.SetLine(RawLine());
        second.SetLine(RawLine());
        spi.Ioctl(0x80047202, {});
    }

    /// Sets a channel up: period, samples, decimation rate 76 (27 mm a sample), 200 kHz, gains as usual.
    void SetChannel(std::uint8_t channel, std::uint32_t period, std::uint32_t samples)
    {
        const std::uint32_t values[] = {2757, period << 16, 76 << 16 | 1, samples, 0, 1024};
        for (std::size_t i = 0; i < std::size(values); ++i) {
            const Bytes_T frame = Frame(c_LowscanAddresses[6 * channel + i], values[i]);
            EXPECT_THAT(first.Write(frame).refusals, IsEmpty());
        }
        first.Write(Frame(66, 20));
        first.Write(Frame(65, 0x800000B5));
    }

    bool isPowered = true;
    std::shared_ptr<CLowscanFpgaModel> pFpga = std::make_shared<CLowscanFpgaModel>(
        FpgaSetup_T{.product = "QL1A", .isPowered = [this] { return isPowered; }, .firmwareVersion = 7});
    CLowscanUartModel first{pFpga, 0}, second{pFpga, 1};
    CLowscanSpiModel spi{pFpga};
};

} // namespace

TEST_F(LowscanFpgaModelTest, AWriteToALineIsOneWholeFrameOfAKnownRegister)
{
    EXPECT_THAT(first.Write(Frame(33, 0x00010001)).meaning, "Ch0.SamplingA=0x00010001");
    Bytes_T wrongStart = Frame(66, 1), wrongSum = Frame(66, 1);
    --wrongStart[0];
    ++wrongSum[7];
    const std::pair<Bytes_T, const char*> rows[] = {
        {Frame(66, 1) + Frame(65, 1), "16 bytes in one write, a frame has 8"},
        {{0xF5, 0, 66, 0}, "4 bytes in one write, a frame has 8"},
        {wrongStart, "frame start 0xf4, expected 0xf5"},
        {wrongSum, "checksum 0x39, expected 0x38"},
        {Frame(67, 1), "write to unknown register 0x0043"},
        {Frame(1, 2), "unknown command 0x00000002"},
        {Frame(18, 0x40000000), "Ch0.PulseB=0x40000000 has unknown bits"},
        {Frame(42, 4096), "Ch1.Gain=0x00001000 has unknown bits"},
    };
    for (const auto& [bytes, refusal] : rows) {
        EXPECT_THAT(first.Write(bytes).refusals, ElementsAre(refusal));
    }
    EXPECT_EQ(pFpga->Register(66), 0U);
}

TEST_F(LowscanFpgaModelTest, ALineThatWouldAlterBytesIsRefused)
{
    termios line = RawLine();
    line.c_iflag = ICRNL;
    ::cfsetospeed(&line, B115200);
    second.SetLine(line);
    EXPECT_THAT(second.Write(Frame(1, 3)).refusals,
                ElementsAre("write to a line with wrong settings: speed IXOFF ICRNL"));
    struct Row_T {
        tcflag_t termios::*field;
        tcflag_t flag;
        const char* name;
    };
    const Row_T rows[] = {
        {&termios::c_cflag, CS6, "CSIZE"},       {&termios::c_cflag, CSTOPB, "CSTOPB"},
        {&termios::c_cflag, PARENB, "PARENB"},   {&termios::c_iflag, IXON, "IXON"},
        {&termios::c_iflag, INLCR, "INLCR"},     {&termios::c_iflag, IGNCR, "IGNCR"},
        {&termios::c_iflag, ISTRIP, "ISTRIP"},   {&termios::c_iflag, INPCK, "INPCK"},
        {&termios::c_iflag, PARMRK, "PARMRK"},   {&termios::c_iflag, BRKINT, "BRKINT"},
        {&termios::c_iflag, IUCLC, "IUCLC"},     {&termios::c_oflag, OPOST, "OPOST"},
        {&termios::c_lflag, ICANON, "ICANON"},   {&termios::c_lflag, ECHO, "ECHO"},
        {&termios::c_lflag, ECHOE, "ECHOE"},     {&termios::c_lflag, ISIG, "ISIG"},
        {&termios::c_lflag, EXTPROC, "EXTPROC"},
    };
    for (const auto& [field, flag, name] : rows) {
        line = RawLine();
        line.*field ^= flag;
        first.SetLine(line);
        EXPECT_THAT(first.Write(Frame(1, 3)).refusals,
                    ElementsAre(std::string("write to a line with wrong settings: ") + name));
    }
}

TEST_F(LowscanFpgaModelTest, APingSendsEachActiveChannelsPacketOverItsLine)
{
    SetChannel(0, 45, 993);
    SetChannel(1, 1023, 256);
    const Bytes_T packet = first.Write(Frame(1, 1)).reply;
    EXPECT_EQ(packet.size(), 1024U);
    EXPECT_EQ(second.TakeUnasked().value().reply.size(), 267U);
    EXPECT_FALSE(second.TakeUnasked().has_value()) << "a packet comes once";
    SetChannel(0, 0, 993);
    EXPECT_THAT(first.Write(Frame(1, 1)).reply, IsEmpty());
    // The bottom is in the sixth block; its peak is the block's first value.
    const auto block = packet.begin() + 2 + 5 * 132;
    const int peak = *std::max_element(block, block + 128);
    EXPECT_NEAR(255 * std::sqrt(16 * (block[128] << 4 | block[129] >> 4) / 65535.0), peak, 1);
}

TEST_F(LowscanFpgaModelTest, SpiRequestsNeedAKnownCodeAndLength)
{
    const std::pair<Bytes_T, const char*> rows[] = {
        {{}, "empty write"},
        {{1, 0}, "unknown request 0x01 of 2 bytes"},
        {{3, 0, 0, 0, 0}, "version request without its pattern"},
        {Bytes_T{4} + Bytes_T(83, 0), "unknown request 0x04 of 84 bytes"},
        {Bytes_T{0x11} + Bytes_T(3 + 130, 0), "unknown request 0x11 of 134 bytes"},
    };
    for (const auto& [bytes, refusal] : rows) {
        EXPECT_THAT(spi.Write(bytes).refusals, ElementsAre(StartsWith(refusal)));
    }
    EXPECT_THAT(spi.Write(Bytes_T{4} + Bytes_T(84, 0)).refusals, Each("write to unknown register 0x0000"));
    EXPECT_EQ(spi.Ioctl(0x80047205, Bytes_T(20, 0)).error, EINVAL);
}

TEST_F(LowscanFpgaModelTest, WithoutFirmwareOrPowerTheLinesAreSilent)
{
    const auto replies = [&] {
        SetChannel(0, 45, 10);
        return std::tuple(first.Write(Frame(1, 3)).reply.size(), first.Write(Frame(1, 1)).reply.size(),
                          spi.Write(Bytes_T{3, 0, 0, 0xFF, 0xFF}).reply);
    };
    isPowered = false;
    EXPECT_EQ(replies(), std::tuple(0U, 0U, Bytes_T{}));
    isPowered = true;
    pFpga->TakeImage(MakeFirmwareImage("QL2A", 9));
    EXPECT_EQ(replies(), std::tuple(0U, 0U, Bytes_T(4, 0)));
    const Bytes_T image = MakeFirmwareImage("QL1A", 9);
    EXPECT_EQ(pFpga->TakeImage(image).linkTime, std::chrono::nanoseconds(image.size() * 1000 / 3))
        << "at 24 MHz";
    EXPECT_EQ(replies(), std::tuple(1024U, 13U, Bytes_T{0, 0, 9, 0}));
}
