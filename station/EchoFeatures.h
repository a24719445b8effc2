#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

/// Places in an echo, as indices of its printed samples. What is not clear is not there.
struct EchoFeatures_T {
    std::optional<std::size_t> ringDownEnd; ///< first sample after the transmit pulse has died away
    std::optional<std::size_t> bottom;      ///< front of the bottom's echo
};

/// Finds what can be told without doubt.
///
/// Ring-down: the first sample is the transmit pulse, at half of full scale or more. The ring-down ends at
/// the first of 16 samples in a row below 10 % of full scale. When the level rises by more than 10 % of full
/// scale before, something else lies in the ring-down, and no end is told.
///
/// Bottom: only behind the end of the ring-down. Echoes of fish do not last, so the level of a place is what
/// 12 of the 16 samples from there on reach. The tail of the ring-down lasts, so something quiet must lie
/// between: 16 samples before the place of which 12 do not exceed half of its level. The bottom is the place
/// of the highest such level, when that is at least 3 times the median of all samples there, and 1 % of full
/// scale. It is not told when its 16 samples look like several echoes in each other: their highest is above 5
/// times the level, or behind the highest they rise again by more than 75 % of the level. The bottom's front
/// is the first sample of those around the highest one that are half as high or more.
/// @param values     of any number
/// @param fullScale  the largest value that the receiver gives, above 0
EchoFeatures_T FindEchoFeatures(std::span<const std::int32_t> values, std::int32_t fullScale);
