#pragma once

#include "Utilities/Lowscan.h"
#include "fuzz/Replies.h"

/// Reads a ping of any valid size from a Lowscan FPGA, into buffers of exactly that size.
template <class Link>
void ReadLowscanPing(Link& link, LSChannel_T channel, std::size_t samples)
{
    constexpr std::size_t blockSamples = 128;
    std::vector<std::uint8_t> sampleBytes(samples * sizeof(float));
    std::vector<std::uint8_t> valueBytes((samples + blockSamples - 1) / blockSamples * 2 * sizeof(float));
    Buffer_Bytes_T sampleBuffer(sampleBytes.data(), sampleBytes.size());
    Buffer_Bytes_T valueBuffer(valueBytes.data(), valueBytes.size());
    link.GetPing(channel, &sampleBuffer, &valueBuffer);
    Replies::RequireWholeNumbers(sampleBytes, 255, "a sample is a byte's value");
    Replies::RequireWholeNumbers(valueBytes, 4095, "a value has twelve bits");
}
