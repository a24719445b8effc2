#include "station/EchoFeatures.h"

#include <algorithm>
#include <array>
#include <vector>

namespace
{
using Values_T = std::span<const std::int32_t>;

constexpr double c_PulseLevel = 0.5; // of full scale
constexpr double c_QuietLevel = 0.1;
constexpr double c_FaintestBottom = 0.01;
constexpr double c_AboveMedian = 3;
constexpr std::size_t c_QuietSamples = 16;
constexpr std::size_t c_LastingSamples = 16;
constexpr std::ptrdiff_t c_SamplesReached = 12; ///< of these, for a level

std::optional<std::size_t> FindRingDownEnd(Values_T values, double fullScale)
{
    if (values.empty() || values.front() < c_PulseLevel * fullScale) {
        return std::nullopt;
    }
    double lowest = fullScale;
    std::size_t quiet = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i] > lowest + c_QuietLevel * fullScale) {
            return std::nullopt;
        }
        lowest = std::min<double>(lowest, values[i]);
        quiet = values[i] < c_QuietLevel * fullScale ? quiet + 1 : 0;
        if (quiet == c_QuietSamples) {
            return i + 1 - c_QuietSamples;
        }
    }
    return std::nullopt;
}

std::int32_t Median(Values_T values)
{
    std::vector<std::int32_t> sorted(values.begin(), values.end());
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::ranges::nth_element(sorted, middle);
    return *middle;
}

/// What most samples from here on reach.
std::int32_t LastingLevel(Values_T values)
{
    std::array<std::int32_t, c_LastingSamples> sorted;
    std::ranges::copy(values.first<c_LastingSamples>(), sorted.begin());
    const auto level = sorted.end() - c_SamplesReached;
    std::ranges::nth_element(sorted, level);
    return *level;
}

std::optional<std::size_t> FindBottom(Values_T values, double fullScale)
{
    if (values.size() < c_LastingSamples) {
        return std::nullopt;
    }
    std::size_t place = 0;
    std::int32_t highest = LastingLevel(values);
    for (std::size_t i = 1; i <= values.size() - c_LastingSamples; ++i) {
        if (const std::int32_t level = LastingLevel(values.subspan(i)); level > highest) {
            highest = level;
            place = i;
        }
    }
    if (highest < std::max(c_AboveMedian * Median(values), c_FaintestBottom * fullScale)) {
        return std::nullopt;
    }
    const Values_T echo = values.subspan(place, c_LastingSamples);
    const auto peak = std::ranges::max_element(echo);
    std::size_t front = place + static_cast<std::size_t>(peak - echo.begin());
    while (front > 0 && values[front - 1] >= *peak / 2.0) {
        --front;
    }
    return front;
}
} // namespace

EchoFeatures_T FindEchoFeatures(std::span<const std::int32_t> values, std::int32_t fullScale)
{
    EchoFeatures_T features{FindRingDownEnd(values, fullScale), std::nullopt};
    if (features.ringDownEnd) {
        const std::size_t start = *features.ringDownEnd;
        if (const auto bottom = FindBottom(values.subspan(start), fullScale)) {
            features.bottom = start + *bottom;
        }
    }
    return features;
}
