#include "station/judge/Echo.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <limits>
#include <numeric>

namespace
{
using Values_T = std::span<const std::int32_t>;

constexpr double c_PulseLevel = 0.5; // of full scale
constexpr double c_QuietLevel = 0.1;
constexpr double c_FaintestBottom = 0.01;
constexpr double c_AboveMedian = 3;
constexpr double c_AboveQuiet = 2;
constexpr double c_LevelOfPeak = 0.2; // of the peak; between a fish and the bottom the level falls below it
constexpr double c_RiseOfLevel = 0.75;
constexpr std::size_t c_QuietSamples = 16;
constexpr std::size_t c_StretchSamples = 16;
constexpr std::size_t c_MostOfStretch = 12;

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

/// Most samples of a stretch reach its level, and most do not exceed its ceiling.
struct Stretch_T {
    std::int32_t level;
    std::int32_t ceiling;
};

Stretch_T MeasureStretch(Values_T values)
{
    std::array<std::int32_t, c_StretchSamples> sorted;
    std::ranges::copy(values.first<c_StretchSamples>(), sorted.begin());
    std::ranges::sort(sorted);
    return {sorted[c_StretchSamples - c_MostOfStretch], sorted[c_MostOfStretch - 1]};
}

struct Place_T {
    std::size_t sample;
    std::int32_t level;
};

/// The highest level after something quiet. Otherwise it would often be the tail of the ring-down.
std::optional<Place_T> FindHighestRise(Values_T values)
{
    std::optional<Place_T> found;
    std::int32_t quiet = std::numeric_limits<std::int32_t>::max();
    std::array<std::int32_t, c_StretchSamples> ceilings = {}; // of the stretches that began last
    for (std::size_t i = 0; i + c_StretchSamples <= values.size(); ++i) {
        std::int32_t& ceiling = ceilings[i % c_StretchSamples];
        if (i >= c_StretchSamples) {
            quiet = std::min(quiet, ceiling);
        }
        const Stretch_T stretch = MeasureStretch(values.subspan(i));
        ceiling = stretch.ceiling;
        if (stretch.level >= c_AboveQuiet * quiet && (!found || stretch.level > found->level)) {
            found = {i, stretch.level};
        }
    }
    return found;
}

bool RisesBy(double height, Values_T values)
{
    std::int32_t lowest = values.front();
    return std::ranges::any_of(values, [&](std::int32_t value) {
        lowest = std::min(lowest, value);
        return value > lowest + height;
    });
}

std::optional<std::size_t> FindBottom(Values_T values, double fullScale)
{
    const auto place = FindHighestRise(values);
    if (!place || place->level < std::max(c_AboveMedian * Median(values), c_FaintestBottom * fullScale)) {
        return std::nullopt;
    }
    const Values_T echo = values.subspan(place->sample, c_StretchSamples);
    const auto peak = std::ranges::max_element(echo);
    if (place->level < c_LevelOfPeak * *peak || RisesBy(c_RiseOfLevel * place->level, {peak, echo.end()})) {
        return std::nullopt;
    }
    std::size_t front = place->sample + static_cast<std::size_t>(peak - echo.begin());
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

void Envelope_T::Include(const Envelope_T& other)
{
    assert(other.high.size() == high.size());
    std::ranges::transform(low, other.low, low.begin(), std::ranges::min);
    std::ranges::transform(high, other.high, high.begin(), std::ranges::max);
}

Envelope_T MakeEnvelope(std::span<const std::int32_t> values, std::size_t mostColumns)
{
    const std::size_t columns = std::min(values.size(), mostColumns);
    Envelope_T envelope;
    envelope.samples = values.size();
    envelope.low.assign(columns, std::numeric_limits<std::int32_t>::max());
    envelope.high.assign(columns, std::numeric_limits<std::int32_t>::min());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::size_t column = envelope.Column(i);
        envelope.low[column] = std::min(envelope.low[column], values[i]);
        envelope.high[column] = std::max(envelope.high[column], values[i]);
    }
    return envelope;
}

EchoLevels_T MeasureLevels(std::span<const std::int32_t> values, std::int32_t fullScale,
                           std::size_t clippedFrom)
{
    if (values.empty()) {
        return {};
    }
    const auto [lowest, highest] = std::ranges::minmax(values);
    const double sum = std::accumulate(values.begin(), values.end(), 0.0);
    const auto clipped = std::ranges::count_if(values.subspan(clippedFrom),
                                               [&](std::int32_t value) { return value >= fullScale; });
    return {lowest, highest, sum / static_cast<double>(values.size()), static_cast<std::size_t>(clipped)};
}
