#include "Utilities/FPGAIFLSSPI.h"
#include "Utilities/FPGAIFLSUart.h"
#include "tests/support/ScriptedDevice.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

using testing::ElementsAre;

struct Lowscan : testing::Test {
    ScriptedFactory factory;
    ScriptedDevice &serial = factory.devices["u"], &node = factory.devices["s"];
    CFPGAIFLSUart uart{"u", &factory}; // not a terminal, but usable
    CFPGAIFLSSPI spi{"s", &factory};
};

TEST_F(Lowscan, BothLinksSendTheSameWordsForASetUp)
{
    const std::vector<std::pair<LSChannelConfigure_T, std::vector<std::uint32_t>>> cases{
        {{0, 45, 2e5, 2.1e5, 993, 0, 76, 0, 1, 0}, {0x01880AC5, 0x2D0000, 0x4C0001, 993, 0, 1024}},
        {{0, 0x42D, 2.1e5, 2e5, 0xABCD, 0x1234, 0x56789, 300, 5, 0},
         {0x00110B4F, 0x802D0000, 0x67890001, 0x1234ABCD, 4095, 4095}},
        // Equal frequencies are no sweep in spite of rounding.
        {{0, 1, 81000, 81000, 0, 0, 0, 0.03125, 0.0004, 0}, {0x45D, 0x10000, 1, 0, 1, 0}},
        {{0, 0, -1000, 0, 0, 0, 0, -1, std::nan(""), 0}, {0xFFFF0000, 0, 1, 0, 0, 0}},
        // The last digits of the constants count: 0.0131072 and 1.6777 would give 0x45A35D56.
        {{0, 1, 1e10, 1.01e10, 0, 0, 0, 0, 0, 0}, {0x45A75D58, 0x10000, 1, 0, 0, 0}},
        {{0, 1, 4e11, 0, 0, 0, 0, 1e300, 0, 0}, {0xFFFFFFFF, 0x80010000, 1, 0, 4095, 0}}};
    const LSChannelConfigure_T idle{1, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (auto [channel, words] : cases) {
        words.insert(words.end(), {0, 0, 1, 0, 0, 0, 10, 0x800000B5});
        WireBytes request{4};
        std::vector<WireBytes> frames;
        for (const std::uint8_t address : c_LowscanAddresses) {
            const WireBytes record = LowscanRecord(address, words[frames.size()]);
            const auto sum = std::accumulate(record.begin(), record.end(), 0xF5U);
            frames.push_back(WireBytes{0xF5} + record + WireBytes{static_cast<std::uint8_t>(sum)});
            request = request + record;
        }
        const LSFpgaCompleteConfigure_T setUp{channel, idle, 10, 181, 1};
        const std::string which = "start frequency " + std::to_string(channel.startFrequency);
        EXPECT_EQ(uart.setUpForPing(setUp), 0) << which;
        EXPECT_EQ(spi.setUpForPing(setUp), 0) << which;
        EXPECT_EQ(std::exchange(serial.writes, {}), frames) << which;
        EXPECT_EQ(node.writes.back(), request) << which;
    }
    for (const std::size_t failing : {3U, 9U, 13U}) { // of channel 0, of channel 1, of both
        serial.writes.clear();
        serial.failingWrites = {failing};
        EXPECT_EQ(uart.setUpForPing({}), 5);
        EXPECT_EQ(serial.writes.size(), failing) << "nothing is sent after a failed frame";
    }
    EXPECT_EQ(uart.Flush(), -173);
    EXPECT_EQ(factory.events,
              (Lines{"3 9 CFPGAIFLSUart::ConfigureSerialPort: u is not a serial port",
                     "3 9 CFPGAIFLSUart::CFPGAIFLSUart: Constructor failed to configure UART u",
                     "3 5 CFPGAIFLSUart::SendData: failed to send data to UART u",
                     "3 5 CFPGAIFLSUart::SendData: failed to send data to UART u",
                     "3 5 CFPGAIFLSUart::SendData: failed to send data to UART u",
                     "3 -173 CFPGAIFLSUart::Flush: Flush failed on UART u"}));
}

TEST_F(Lowscan, AReplyMayComeInPiecesAndAShortOneIsAnError)
{
    const std::vector<std::tuple<std::deque<WireBytes>, WireBytes, Lines, std::string>> cases{
        {{{1, 2, 3}, {4, 5}, {6}}, {1, 2, 3, 4, 5, 6}, {"read 6", "read 3", "read 2"}, ""},
        {{}, {}, {}, "0 out of 6 after 0 reads"}, // silent
        {{{1, 2}, {}, {3}}, {1, 2}, {"read 6", "read 2"}, "2 out of 6 after 2 reads"},
        {{{1}}, {1}, {"read 6", "read 1"}, "1 out of 6 after 2 reads"}}; // hung up
    for (const auto& [pieces, received, reads, shortfall] : cases) {
        WireBytes storage(6);
        Buffer_Bytes_T buffer(storage.data(), storage.size());
        serial.replies = pieces;
        serial.hungUp = received.size() == 1;
        serial.operations = factory.events = {};
        EXPECT_EQ(uart.ReceiveData(&buffer), shortfall.empty() ? 0 : -171);
        EXPECT_EQ(WireBytes(&storage[0], &storage[0] + buffer.size()), received);
        EXPECT_EQ(std::erase(serial.operations, "poll 1 1000"), reads.size() + !shortfall.empty());
        EXPECT_EQ(serial.operations, reads);
        const std::string event = "3 -171 CFPGAIFLSUart::ReceiveData: Error on UART uOnly Got " + shortfall;
        EXPECT_EQ(factory.events, shortfall.empty() ? Lines{} : Lines{event});
    }
    WireBytes storage(6, 0xAA);
    Buffer_Bytes_T buffer(storage.data(), storage.size());
    serial.replies = {WireBytes(6)};
    serial.pollFails = true;
    serial.operations.clear();
    EXPECT_EQ(uart.ReceiveData(&buffer), -171) << "a failed poll is no reply";
    EXPECT_EQ(serial.operations, Lines{"poll 1 1000"});
    EXPECT_EQ(storage, WireBytes(6, 0xAA));
}

TEST_F(Lowscan, APingPacketIsUnpackedIntoSamplesAndValues)
{
    WireBytes packet(1024, 17);
    std::vector<float> wanted(993, 17), pairs(16), got(1024), values(16, -1.0F);
    for (std::size_t block = 0; block < 7; ++block) { // the values of the partial block are beyond the packet
        std::ranges::copy(WireBytes{0xAB, 0xCD, 0x12, 0x34}, &packet[130 + 132 * block]);
        std::ranges::copy(std::vector{0xABC, 0x123}, &pairs[2 * block]);
    }
    packet[134] = packet[1022] = 255; // the first sample of the second block, and the last of all
    wanted[128] = wanted[992] = 255;
    Buffer_Bytes_T first(reinterpret_cast<std::uint8_t*>(got.data()), 4096);
    Buffer_Bytes_T second(reinterpret_cast<std::uint8_t*>(values.data()), 64);
    EXPECT_EQ(uart.GetPing(0, &first, &second), -171);
    EXPECT_EQ(spi.GetPing(0, &first, &second), -171);
    node.failingWrites = {2}; // the reply is read nevertheless
    node.replies = {packet};
    // A burst may end beyond the packet, up to the size of the largest one.
    serial.replies = {WireBytes(packet.begin(), packet.begin() + 1000),
                      WireBytes(packet.begin() + 1000, packet.end()) + WireBytes(35)};
    first.size(3972);
    for (const bool onSpi : {false, true}) {
        EXPECT_EQ(onSpi ? spi.GetPing(1, &first, &second) : uart.GetPing(9, &first, &second), 0) << onSpi;
        EXPECT_EQ(std::vector<float>(got.begin(), got.begin() + 993), wanted) << onSpi;
        EXPECT_EQ(values, pairs) << onSpi;
        got.assign(1024, 0);
        values.assign(16, -1);
    }
    EXPECT_THAT(node.writes,
                ElementsAre(WireBytes{0x10} + WireBytes(1059), WireBytes{0x11} + WireBytes(1024)));
}

TEST_F(Lowscan, VersionAndReadingsComeFromTheReply)
{
    SWVersion_T version{7, 8};
    LSADCReadings_T adc{1, 2, 3};
    const auto read = [&version, &adc] {
        return std::vector<std::uint32_t>{version.major, version.minor, adc.reference, adc.waterTemperature,
                                          adc.third};
    };
    EXPECT_EQ(uart.GetVersion(&version), -171);
    EXPECT_EQ(spi.GetVersion(&version), -171);
    EXPECT_EQ(spi.GetADCReadings(&adc), -171);
    EXPECT_THAT(read(), ElementsAre(7, 8, 1, 2, 3)) << "no reply changes nothing";
    node.replies = {{0, 0, 5, 3}, {1, 2, 3, 0xFF, 0xFE, 0xFD, 0, 0, 9}};
    EXPECT_EQ(spi.GetVersion(&version), 0);
    EXPECT_EQ(spi.GetADCReadings(&adc), 0);
    EXPECT_THAT(read(), ElementsAre(5, 3, 0x010203, 0xFFFEFD, 9));
    EXPECT_EQ(uart.Echo("a"), 0);
    EXPECT_EQ(spi.Echo("a"), 0);
    EXPECT_EQ(spi.PingNow(), 0);
    EXPECT_EQ(spi.WaitForData(), 1);
    node.refusedRequest = 0x80047203;
    EXPECT_EQ(spi.WaitForData(), 0);
    const WireBytes ask{3, 0, 0, 0xFF, 0xFF}, askAdc{5, 0, 0, 0, 0, 0, 0, 0, 0, 0}, text{'a', 0};
    EXPECT_THAT(node.writes, ElementsAre(ask, askAdc, ask, askAdc, text, WireBytes{1}));
    EXPECT_EQ(node.operations[1], "ioctl 80047202");
    EXPECT_EQ(node.operations.back(), "ioctl 80047203");
    EXPECT_EQ(serial.writes.back(), text);
}

TEST(LowscanLine, IsFastRawAndClosedInTheEnd)
{
    COSSLinuxFactory factory;
    const int farEnd = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_EQ(grantpt(farEnd), 0);
    ASSERT_EQ(unlockpt(farEnd), 0);
    const std::string path = ptsname(farEnd);
    termios settings{};
    tcgetattr(farEnd, &settings); // a terminal that alters bytes in every way, and whose reads time out
    settings.c_iflag = ICRNL | INLCR | IGNCR | ISTRIP | INPCK | PARMRK | BRKINT | IUCLC | IXON;
    settings.c_cflag |= CSTOPB;
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 9;
    tcsetattr(farEnd, TCSANOW, &settings);
    auto pUart = std::make_unique<CFPGAIFLSUart>(path, &factory);
    termios raw{};
    tcgetattr(farEnd, &raw);
    EXPECT_EQ(cfgetispeed(&raw), B3000000 + 0U);
    EXPECT_EQ(cfgetospeed(&raw), B3000000 + 0U);
    EXPECT_EQ(raw.c_cflag & (CSIZE | CSTOPB | PARENB), CS8 + 0U);
    EXPECT_EQ(raw.c_iflag & (settings.c_iflag | IXOFF), IXOFF + 0U);
    EXPECT_EQ(raw.c_lflag & (ICANON | ECHO | ECHOE | ISIG), 0U);
    EXPECT_EQ(raw.c_oflag & OPOST, 0U);
    EXPECT_EQ(raw.c_cc[VMIN], 1);
    EXPECT_EQ(raw.c_cc[VTIME], 0);
    WireBytes received(4);
    Buffer_Bytes_T buffer(received.data(), 1);
    ASSERT_EQ(write(farEnd, "old", 3), 3);
    EXPECT_EQ(pUart->ReceiveData(&buffer), 0); // waits until the bytes have arrived
    EXPECT_EQ(pUart->Flush(), 0);
    ASSERT_EQ(write(farEnd, "n", 1), 1);
    EXPECT_EQ(pUart->ReceiveData(&buffer), 0);
    EXPECT_EQ(received.front(), 'n') << "the flush dropped the rest";
    pUart.reset();
    pollfd line{farEnd, POLLIN, 0};
    EXPECT_EQ(poll(&line, 1, 0), 1);
    EXPECT_EQ(line.revents, POLLHUP) << "the line is still open";
    close(farEnd);
}
