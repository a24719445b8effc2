#include "station/Envelope.h"

#include <algorithm>
#include <cassert>
#include <functional>
#include <limits>
#include <numeric>

void Envelope_T::Include(const Envelope_T& other)
{
    assert(other.high.size() == high.size());
    std::ranges::transform(low, other.low, low.begin(), std::ranges::min);
    std::ranges::transform(high, other.high, high.begin(), std::ranges::max);
}

std::size_t Envelope_T::ColumnOf(std::size_t sample, std::size_t samples, std::size_t columns)
{
    return static_cast<std::size_t>(std::uint64_t{sample} * columns / samples);
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
