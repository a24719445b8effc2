// Replies of a Lowscan FPGA, for every operation that reads or waits. Compiled into two targets: one for the
// serial line and one for the SPI device.

#include "Utilities/FPGAIFLSSPI.h"
#include "Utilities/FPGAIFLSUart.h"
#include "Utilities/Lowscan.h"
#include "fuzz/Replies.h"

namespace
{
using Link_T = LOWSCAN_LINK;

/// Reads a ping of any valid size into buffers of exactly that size.
void Ping(Link_T& link, CFuzzInput& input)
{
    constexpr std::size_t blockSamples = 128;
    const LSChannel_T channel = input.Byte();
    const std::size_t samples = input.Word() % (c_MaxSamplesFromLowscanFPGA + 1);
    std::vector<std::uint8_t> sampleBytes(samples * sizeof(float));
    std::vector<std::uint8_t> valueBytes((samples + blockSamples - 1) / blockSamples * 2 * sizeof(float));
    Buffer_Bytes_T sampleBuffer(sampleBytes.data(), sampleBytes.size());
    Buffer_Bytes_T valueBuffer(valueBytes.data(), valueBytes.size());
    link.GetPing(channel, &sampleBuffer, &valueBuffer);
    Replies::RequireWholeNumbers(sampleBytes, 255, "a sample is a byte's value");
    Replies::RequireWholeNumbers(valueBytes, 4095, "a value has twelve bits");
}

void Receive(Link_T& link, CFuzzInput& input)
{
    Replies::OnBuffer(input, sizeof(LSPingReturnPacket_T) + 1, [&](Buffer_Bytes_T& buffer) {
        const std::size_t wanted = buffer.size();
        const bool isWhole = link.ReceiveData(&buffer) == c_Success;
        Require(isWhole == (buffer.size() == wanted),
                "a reply is complete exactly when no shortfall is reported");
    });
}

/// Sets up a ping with numbers from the input.
void SetUp(Link_T& link, CFuzzInput& input)
{
    LSFpgaCompleteConfigure_T configuration{};
    for (LSChannelConfigure_T* pChannel : {&configuration.channel0, &configuration.channel1}) {
        pChannel->period = input.Word();
        pChannel->startFrequency = input.Word() * 100.0;
        pChannel->endFrequency = input.Word() * 100.0;
        pChannel->samplesA = input.Word();
        pChannel->decimationRate = input.Word() * 0x10001U;
        pChannel->gain = input.Byte() * 2.0;
        pChannel->colourGain = input.Byte() / 16.0;
    }
    configuration.channel1.channel = 1;
    configuration.boostEnable = input.Byte();
    link.setUpForPing(configuration);
}

/// Operations that only one of the links has.
struct Own_T {
    static void Read(CFPGAIFLSUart& link, CFuzzInput& input) { link.Echo(input.Text()); }
    static void Read(CFPGAIFLSSPI& link, CFuzzInput&)
    {
        LSADCReadings_T readings{};
        link.GetADCReadings(&readings);
    }
    static void Wait(CFPGAIFLSUart& link, CFuzzInput&) { link.Flush(); }
    static void Wait(CFPGAIFLSSPI& link, CFuzzInput&) { link.WaitForData(); }
};

constexpr Replies::Operation_T<Link_T> c_Operations[] = {
    Replies::Version<Link_T>,
    Ping,
    Receive,
    SetUp,
    [](Link_T& link, CFuzzInput&) { link.PingNow(); },
    Own_T::Wait,
    Own_T::Read,
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    return Replies::Run<Link_T>({pData, size}, c_Operations);
}
