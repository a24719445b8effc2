#pragma once

#include "Utilities/Lowscan.h"
#include "fuzz/AllowedAssertions.h"
#include "fuzz/FuzzDevice.h"

#include <cstring>
#include <vector>

/// What both transports of a Lowscan FPGA read, as operations that an input names.
namespace LowscanOperations
{
inline void RequireWholeNumbers(const std::vector<std::uint8_t>& floats, float largest, const char* what)
{
    for (std::size_t at = 0; at < floats.size(); at += sizeof(float)) {
        float value = 0;
        std::memcpy(&value, floats.data() + at, sizeof value);
        Require(value >= 0 && value <= largest && value == static_cast<float>(static_cast<int>(value)), what);
    }
}

/// Reads a ping of any size that is allowed, into buffers with no byte to spare.
template <class Link>
void ReadPing(Link& link, LSChannel_T channel, std::size_t samples)
{
    constexpr std::size_t blockSamples = 128;
    std::vector<std::uint8_t> sampleBytes(samples * sizeof(float));
    std::vector<std::uint8_t> valueBytes((samples + blockSamples - 1) / blockSamples * 2 * sizeof(float));
    Buffer_Bytes_T sampleBuffer(sampleBytes.data(), sampleBytes.size());
    Buffer_Bytes_T valueBuffer(valueBytes.data(), valueBytes.size());
    link.GetPing(channel, &sampleBuffer, &valueBuffer);
    RequireWholeNumbers(sampleBytes, 255, "a sample is a byte's value");
    RequireWholeNumbers(valueBytes, 4095, "a value has twelve bits");
}

template <class Link>
void Ping(Link& link, CFuzzInput& input)
{
    const LSChannel_T channel = input.Byte();
    ReadPing(link, channel, input.Word() % (c_MaxSamplesFromLowscanFPGA + 1));
}

template <class Link>
void Version(Link& link, CFuzzInput&)
{
    SWVersion_T version{};
    link.GetVersion(&version);
}

template <class Link>
void Receive(Link& link, CFuzzInput& input)
{
    std::vector<std::uint8_t> storage(input.Word() % (sizeof(LSPingReturnPacket_T) + 1));
    Buffer_Bytes_T buffer(storage.data(), storage.size());
    const bool isWhole = link.ReceiveData(&buffer) == c_Success;
    Require(isWhole == (buffer.size() == storage.size()),
            "a reply is whole exactly when no shortfall is told");
}

/// Sets up a ping with numbers out of the input.
template <class Link>
void SetUp(Link& link, CFuzzInput& input)
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

template <class Link>
void Fire(Link& link, CFuzzInput&)
{
    link.PingNow();
}

/// Lets the input name operations of the table, and answer them.
template <class Link, class Table>
void Run(const std::uint8_t* pData, std::size_t size, Table& operations)
{
    static CFuzzTransport<Link> transport;
    try {
        transport.Run(pData, size, operations);
    } catch (const AllowedAssertion_T& broken) {
        Require(broken.by == BrokenBy_T::SurplusReply, "a reply breaks no other assertion");
    }
}
} // namespace LowscanOperations
