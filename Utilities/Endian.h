#pragma once

#include <cstddef>
#include <cstdint>

/// Stores the low width bytes (1 to 4) of value, low byte first.
constexpr void PutLittleEndian(std::uint8_t* pTo, std::size_t width, std::uint32_t value)
{
    for (std::size_t at = 0; at < width; ++at) {
        pTo[at] = static_cast<std::uint8_t>(value >> (8 * at));
    }
}

/// The unsigned value of width bytes (1 to 4), low byte first.
constexpr std::uint32_t GetLittleEndian(const std::uint8_t* pFrom, std::size_t width)
{
    std::uint32_t value = 0;
    for (std::size_t at = 0; at < width; ++at) {
        value |= static_cast<std::uint32_t>(pFrom[at]) << (8 * at);
    }
    return value;
}

/// Stores the low width bytes (1 to 4) of value, high byte first.
constexpr void PutBigEndian(std::uint8_t* pTo, std::size_t width, std::uint32_t value)
{
    for (std::size_t at = 0; at < width; ++at) {
        pTo[at] = static_cast<std::uint8_t>(value >> (8 * (width - 1 - at)));
    }
}

/// The unsigned value of width bytes (1 to 4), high byte first.
constexpr std::uint32_t GetBigEndian(const std::uint8_t* pFrom, std::size_t width)
{
    std::uint32_t value = 0;
    for (std::size_t at = 0; at < width; ++at) {
        value = (value << 8) | pFrom[at];
    }
    return value;
}
