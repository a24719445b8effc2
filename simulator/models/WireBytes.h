#pragma once

#include "simulator/models/DeviceModel.h"

#include <cassert>
#include <numeric>

/// The little-endian number of width bytes (1 to 8) at offset; the bytes must be there.
inline std::uint64_t GetLittleEndian(ByteView_T bytes, std::size_t offset, std::size_t width)
{
    assert(offset + width <= bytes.size());
    std::uint64_t value = 0;
    for (std::size_t i = width; i > 0; --i) {
        value = value << 8 | bytes[offset + i - 1];
    }
    return value;
}

/// Appends the low width bytes (1 to 8) of a number, least significant byte first.
inline void PutLittleEndian(Bytes_T& bytes, std::uint64_t value, std::size_t width)
{
    for (std::size_t i = 0; i < width; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

/// The big-endian number of width bytes (1 to 4) at offset; the bytes must be there.
inline std::uint32_t GetBigEndian(ByteView_T bytes, std::size_t offset, std::size_t width)
{
    assert(offset + width <= bytes.size());
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes.subspan(offset, width)) {
        value = value << 8 | byte;
    }
    return value;
}

/// Appends the low width bytes (1 to 4) of a number, most significant byte first.
inline void PutBigEndian(Bytes_T& bytes, std::uint32_t value, std::size_t width)
{
    for (std::size_t i = width; i > 0; --i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * (i - 1))));
    }
}

/// Sum of the bytes modulo 256: the checksum of packets, replies and frames.
inline std::uint8_t SumOfBytes(ByteView_T bytes)
{
    return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0U));
}
