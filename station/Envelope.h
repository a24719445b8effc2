#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// An echo in a bounded number of columns: in each the lowest and the highest of its samples. When there are
/// no more samples than columns allowed, each column is one sample.
struct Envelope_T {
    std::vector<std::int32_t> low;
    std::vector<std::int32_t> high;
    std::size_t samples = 0; ///< that it was made of

    bool IsExact() const { return high.size() == samples; }
    /// Column of a sample.
    std::size_t Column(std::size_t sample) const { return ColumnOf(sample, samples, high.size()); }
    /// Takes in an envelope of as many samples in as many columns.
    void Include(const Envelope_T& other);

    /// Column of a sample, when there are so many of both.
    static std::size_t ColumnOf(std::size_t sample, std::size_t samples, std::size_t columns);
};

/// @param mostColumns  at least 1
Envelope_T MakeEnvelope(std::span<const std::int32_t> values, std::size_t mostColumns);

/// What is told of an echo in numbers; all 0 without samples.
struct EchoLevels_T {
    std::int32_t lowest = 0;
    std::int32_t highest = 0;
    double mean = 0;
    std::size_t clipped = 0; ///< samples at full scale or above, of those from a place on
};

/// @param clippedFrom  where the search for clipped samples begins: behind the transmit pulse, which always
/// is
EchoLevels_T MeasureLevels(std::span<const std::int32_t> values, std::int32_t fullScale,
                           std::size_t clippedFrom);
