#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// An echo in a limited number of columns, each with the lowest and highest of its samples. If there are no
/// more samples than columns, each column is one sample.
struct Envelope_T {
    std::vector<std::int32_t> low;
    std::vector<std::int32_t> high;
    std::size_t samples = 0; ///< of the echo

    bool IsExact() const { return high.size() == samples; }
    /// Column of a sample.
    std::size_t Column(std::size_t sample) const
    {
        return static_cast<std::size_t>(std::uint64_t{sample} * high.size() / samples);
    }
    /// Widens this by an envelope of as many samples and columns.
    void Include(const Envelope_T& other);
};

/// @param mostColumns  at least 1
Envelope_T MakeEnvelope(std::span<const std::int32_t> values, std::size_t mostColumns);

/// Levels of an echo; all 0 without samples.
struct EchoLevels_T {
    std::int32_t lowest = 0;
    std::int32_t highest = 0;
    double mean = 0;
    std::size_t clipped = 0; ///< samples at full scale or above
};

/// @param clippedFrom  first sample that can count as clipped: the transmit pulse always is
EchoLevels_T MeasureLevels(std::span<const std::int32_t> values, std::int32_t fullScale,
                           std::size_t clippedFrom);

/// Places in an echo, as indices of its printed samples; empty when they are not certain.
struct EchoFeatures_T {
    std::optional<std::size_t> ringDownEnd; ///< first sample after the transmit pulse has died away
    std::optional<std::size_t> bottom;      ///< front of the bottom's echo
};

/// Finds what is certain.
///
/// Ring-down: the first sample is the transmit pulse, at half of full scale or more. The ring-down ends at
/// the first of 16 samples in a row below 10 % of full scale. If the level rises by more than 10 % of full
/// scale before, there is another echo in the ring-down, and its end is not certain.
///
/// Bottom: only after the end of the ring-down. Echoes of fish are short, so the level of a place is what 12
/// of its 16 samples reach. The tail of the ring-down is long, so the place must follow 16 quiet samples, of
/// which 12 do not exceed half of its level. The bottom is the place of the highest such level, if that is at
/// least 3 times the median of all samples there, and 1 % of full scale. It is not certain if its 16 samples
/// look like several echoes: the highest is above 5 times the level, or after the highest they rise again by
/// more than 75 % of the level. The front of the bottom is the first of the samples around the highest that
/// are half as high or more.
/// @param fullScale  the largest value that the receiver gives, above 0
EchoFeatures_T FindEchoFeatures(std::span<const std::int32_t> values, std::int32_t fullScale);
