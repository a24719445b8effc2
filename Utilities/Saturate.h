#pragma once

#include <cstdint>
#include <limits>

/// The whole part of a value as the target's processor converts it, on every host: what is below zero or not
/// a number gives 0, what is beyond the range its largest value.
constexpr std::uint32_t SaturateToUnsigned(double value)
{
    constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();
    if (!(value > 0)) {
        return 0;
    }
    return value >= largest ? largest : static_cast<std::uint32_t>(value);
}
