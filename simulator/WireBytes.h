#pragma once

#include "simulator/DeviceModel.h"

#include <cassert>
#include <string>

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

/// A number as "0x" and at least the given count of lower-case hexadecimal digits.
inline std::string HexText(std::uint64_t value, std::size_t digits)
{
    std::string text;
    for (; value != 0 || text.size() < digits; value >>= 4) {
        text.insert(text.begin(), "0123456789abcdef"[value & 0xF]);
    }
    return "0x" + text;
}
