#pragma once

#include <cstdint>
#include <limits>

/// The whole part of a value, converted as on the target's processor: a negative value or NaN gives 0, a
/// value beyond the range gives the largest.
constexpr std::uint32_t SaturateToUnsigned(double value)
{
    constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();
    if (!(value > 0)) {
        return 0;
    }
    return value >= largest ? largest : static_cast<std::uint32_t>(value);
}
