#pragma once

#include "simulator/DeviceModel.h"

#include <cassert>
#include <numeric>
#include <string>
#include <string_view>

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

/// The big-endian number that the bytes, at most 4, are.
inline std::uint32_t BigEndianNumber(ByteView_T bytes)
{
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes) {
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

/// Sum of the bytes modulo 256, as it ends packets, replies and frames.
inline std::uint8_t SumOfBytes(ByteView_T bytes)
{
    return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0U));
}

/// Appends to a list of meanings.
inline void AppendMeaning(std::string& text, std::string_view more)
{
    text.append(text.empty() ? "" : "; ").append(more);
}

/// A number as "0x" and at least the given count of lower-case hexadecimal digits.
inline std::string HexText(std::uint64_t value, std::size_t digits)
{
    std::string text;
    for (; value != 0 || text.size() < digits; value >>= 4) {
        text.insert(text.begin(), "0123456789abcdef"[value & 0xF]);
    }
    return "0x" + text;
}
