#include "station/judge/Echo.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace
{
using Values_T = std::span<const std::int32_t>;

constexpr double c_PulseLevel = 0.5; // of full scale
constexpr double c_MostRise = 0.1;   // of full scale, within the ring-down
constexpr std::size_t c_QuietSamples = 16;

/// What depends on how samples are printed: those of three digits have a smaller range of levels, and longer
/// echoes.
struct Levels_T {
    double quiet;       ///< of the ring-down's end, as a share of full scale
    double quietExcess; ///< of a quiet group's mean over the quietest means
    double leastPeak;   ///< of the bottom over the noise floor
    double mostPeak;    ///< of the bottom over its level; between a fish and the bottom the level falls
    double leastWidth;  ///< of the bottom, samples
};
constexpr Levels_T c_OfDecimals = {0.1, 1.4, 9, 10, 11};
constexpr Levels_T c_OfThreeDigits = {0.3, 1.2, 3, 3, 20};

constexpr std::size_t c_Stretch = 16;
constexpr std::int32_t c_MostOfStretch = 12;
constexpr std::size_t c_StretchesOfGroup = CEchoParts::c_GroupSamples / c_Stretch;

constexpr std::size_t c_QuietestShare = 8; // one of so many groups
constexpr double c_LeastExcess = 0.25;     // counts; means below one count vary more
constexpr std::size_t c_LeastQuiet = 416;
constexpr double c_MostFall = 1.2; // of the groups' first half over the second

constexpr double c_SpreadsAboveFloor = 4;
constexpr double c_AboveQuietest = 4; // group, if there is no quiet part
constexpr double c_AboveBefore = 2;
constexpr double c_RiseOfLevel = 0.75;
constexpr std::size_t c_FrontSamples = 4; // in which the bottom's echo has its peak
constexpr std::size_t c_DipOfFront = 2;   // samples by which noise can interrupt the front

constexpr double c_HistogramRange = 8; // times the expected value; noise does not reach it
constexpr std::size_t c_MostBins = 4096;

std::int32_t CountFrom(std::int32_t threshold, Values_T values)
{
    std::int32_t count = 0; // faster than a wider one
    for (const std::int32_t value : values) {
        count += value >= threshold ? 1 : 0;
    }
    return count;
}

/// The level that most samples of a stretch reach.
std::int32_t LevelOf(Values_T stretch) { return OrderStatistic(stretch, c_Stretch - c_MostOfStretch); }

bool RisesBy(double height, Values_T values)
{
    std::int32_t lowest = values.front();
    return std::ranges::any_of(values, [&](std::int32_t value) {
        lowest = std::min(lowest, value);
        return value > lowest + height;
    });
}
} // namespace

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
    if (columns == values.size()) {
        envelope.low.assign(values.begin(), values.end());
        envelope.high = envelope.low;
        return envelope;
    }
    envelope.low.assign(columns, std::numeric_limits<std::int32_t>::max());
    envelope.high.assign(columns, std::numeric_limits<std::int32_t>::min());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::size_t column = envelope.Column(i);
        envelope.low[column] = std::min(envelope.low[column], values[i]);
        envelope.high[column] = std::max(envelope.high[column], values[i]);
    }
    return envelope;
}

void CHistogram::Begin(double expected)
{
    const double range = c_HistogramRange * (std::max(expected, 0.0) + 1);
    m_Shift = 0;
    while (std::ldexp(range, -m_Shift) > static_cast<double>(c_MostBins)) {
        ++m_Shift;
    }
    m_Count = 0;
    m_Quartiles.reset();
    m_Bins.assign(static_cast<std::size_t>(std::ldexp(range, -m_Shift)) + 1, 0);
}

void CHistogram::Add(std::span<const std::int32_t> values)
{
    m_Count += values.size();
    m_Quartiles.reset();
    const auto last = static_cast<std::uint32_t>(m_Bins.size() - 1);
    for (const std::int32_t value : values) {
        ++m_Bins[std::min(static_cast<std::uint32_t>(std::max(value, 0)) >> m_Shift, last)];
    }
}

std::size_t CHistogram::DistinctValues() const
{
    return m_Bins.size() - static_cast<std::size_t>(std::ranges::count(m_Bins, 0U));
}

double CHistogram::Quantile(double share) const
{
    assert(m_Count > 0);
    const double place = share * static_cast<double>(m_Count);
    const auto least = static_cast<std::uint64_t>(std::ceil(place));
    std::uint64_t below = 0;
    std::size_t bin = 0;
    while (least > below + m_Bins[bin] && bin + 1 < m_Bins.size()) {
        below += m_Bins[bin++];
    }
    if (bin == 0) {
        return 0;
    }
    // The values of a bin are between its neighbours'.
    const double rest = place - static_cast<double>(below);
    const double within = std::min(rest / std::max(m_Bins[bin], 1U), 1.0);
    return std::ldexp(static_cast<double>(bin) + within, m_Shift) - 0.5;
}

const Quartiles_T& CHistogram::Quartiles() const
{
    if (!m_Quartiles) {
        m_Quartiles = {Quantile(0.25), Quantile(0.5), Quantile(0.75)};
    }
    return *m_Quartiles;
}

double CHistogram::Centre() const
{
    const Quartiles_T& quartiles = Quartiles();
    return (quartiles.lower + 2 * quartiles.median + quartiles.upper) / 4;
}

double CHistogram::MissingBetween(double from, double to) const
{
    const auto first = static_cast<std::size_t>(std::ceil(std::ldexp(from, -m_Shift)));
    const auto end = std::min(static_cast<std::size_t>(std::ldexp(to, -m_Shift)) + 1, m_Bins.size());
    if (first >= end) {
        return 0;
    }
    const std::span inside = std::span(m_Bins).subspan(first, end - first);
    return static_cast<double>(std::ranges::count(inside, 0U)) / static_cast<double>(inside.size());
}

std::int32_t OrderStatistic(Values_T values, std::size_t others)
{
    std::int32_t least = 0;
    std::int32_t most = 0;
    for (const std::int32_t value : values) {
        most = std::max(most, value);
    }
    while (least < most) {
        const std::int32_t middle = least + (most - least) / 2;
        const auto above = static_cast<std::size_t>(CountFrom(middle + 1, values));
        if (values.size() - above > others) {
            most = middle;
        } else {
            least = middle + 1;
        }
    }
    return least;
}

void CEchoParts::Find(const Samples_T& samples)
{
    m_Values = samples.values;
    m_FullScale = samples.FullScale();
    m_IsThreeDigit = samples.isThreeDigit;
    m_Totals = {};
    m_HasRingDown = false;
    m_RingDownEnd.reset();
    m_FirstQuiet = 0;
    m_HasQuiet = false;
    m_QuietGroups.clear();
    m_Bottom.reset();
    if (m_Values.empty()) {
        return;
    }
    FindTotals();
    FindRingDownEnd();
    FindQuiet();
    if (m_HasRingDown) {
        FindBottom();
    }
}

/// Also the sums of the stretches, which the other parts are found with.
void CEchoParts::FindTotals()
{
    // Locals, and separate loops, which the compiler makes vectors of.
    std::int32_t smallest = m_Values.front();
    std::int32_t largest = m_Values.front();
    std::uint32_t bitsInAll = ~0U;
    std::uint32_t bitsInAny = 0;
    for (const std::int32_t value : m_Values) {
        smallest = std::min(smallest, value);
        largest = std::max(largest, value);
        bitsInAll &= static_cast<std::uint32_t>(value);
        bitsInAny |= static_cast<std::uint32_t>(value);
    }
    m_Sums.resize(m_Values.size() / c_Stretch);
    const std::int32_t* from = m_Values.data();
    double sum = 0;
    for (std::int32_t& stretch : m_Sums) {
        stretch = std::accumulate(from, from + c_Stretch, 0);
        sum += stretch;
        from += c_Stretch;
    }
    sum += std::accumulate(from, m_Values.data() + m_Values.size(), 0);
    m_Totals = {smallest, largest, sum / static_cast<double>(m_Values.size()), bitsInAll, bitsInAny};
}

void CEchoParts::FindRingDownEnd()
{
    const double quietLevel = (m_IsThreeDigit ? c_OfThreeDigits : c_OfDecimals).quiet * m_FullScale;
    if (m_Values.front() < c_PulseLevel * m_FullScale) {
        return;
    }
    double lowest = m_FullScale;
    std::size_t quiet = 0;
    std::size_t end = 0;
    for (; quiet < c_QuietSamples; ++end) {
        if (end == m_Values.size() || m_Values[end] > lowest + c_MostRise * m_FullScale) {
            return;
        }
        lowest = std::min<double>(lowest, m_Values[end]);
        quiet = m_Values[end] < quietLevel ? quiet + 1 : 0;
    }
    end -= c_QuietSamples;
    m_HasRingDown = true;
    m_FirstQuiet = end;
    const double before = m_Values[end - 1];
    if (before < m_FullScale) {
        const double decay = std::log(before / std::max(m_Values[end], 1));
        m_RingDownEnd = static_cast<double>(end - 1) + std::log(before / quietLevel) / decay;
    }
}

void CEchoParts::FindQuiet()
{
    const std::size_t first = (m_FirstQuiet + c_Stretch - 1) / c_Stretch;
    m_GroupSums.clear();
    for (std::size_t i = first; i + c_StretchesOfGroup <= m_Sums.size(); i += c_StretchesOfGroup) {
        const auto sums = m_Sums.begin() + static_cast<std::ptrdiff_t>(i);
        m_GroupSums.push_back(std::accumulate(sums, sums + c_StretchesOfGroup, 0));
    }
    if (m_GroupSums.empty()) {
        return;
    }
    const std::int32_t quietest = OrderStatistic(m_GroupSums, m_GroupSums.size() / c_QuietestShare);
    const double excess = (m_IsThreeDigit ? c_OfThreeDigits : c_OfDecimals).quietExcess;
    const double most = excess * quietest + c_LeastExcess * c_GroupSamples;
    m_Quiet.Begin(static_cast<double>(quietest) / c_GroupSamples);
    double firstHalves = 0;
    double secondHalves = 0;
    bool isQuiet = false;
    for (std::size_t group = 0; group < m_GroupSums.size(); ++group) {
        const bool wasQuiet = std::exchange(isQuiet, m_GroupSums[group] <= most);
        if (!isQuiet) {
            continue;
        }
        const std::size_t stretch = first + group * c_StretchesOfGroup;
        m_QuietGroups.push_back(stretch * c_Stretch);
        if (!wasQuiet) {
            continue;
        }
        firstHalves += m_Sums[stretch];
        secondHalves += m_Sums[stretch + 1];
        m_Quiet.Add(m_Values.subspan(stretch * c_Stretch, c_GroupSamples));
    }
    const double least = c_LeastExcess * static_cast<double>(m_Quiet.Count());
    m_HasQuiet = m_Quiet.Count() >= c_LeastQuiet && firstHalves <= c_MostFall * secondHalves + least;
}

std::optional<std::size_t> CEchoParts::FindHighestRise(double threshold) const
{
    std::optional<std::size_t> found;
    auto need = static_cast<std::int32_t>(std::ceil(threshold));
    std::int32_t before = std::numeric_limits<std::int32_t>::max() / 2; // sum of the quietest stretch
    std::int32_t level = need - 1;
    for (std::size_t i = (m_FirstQuiet + c_Stretch - 1) / c_Stretch; i + 1 < m_Sums.size(); ++i) {
        need = std::max(level + 1, static_cast<std::int32_t>(std::ceil(c_AboveBefore * before / c_Stretch)));
        before = std::min(before, m_Sums[i]);
        // Stretches that begin in this one and are high enough are not there unless the two are.
        if (m_Sums[i] + m_Sums[i + 1] < std::int64_t{c_MostOfStretch} * need) {
            continue;
        }
        auto high = CountFrom(need, m_Values.subspan(i * c_Stretch, c_Stretch));
        for (std::size_t at = i * c_Stretch; at < (i + 1) * c_Stretch; ++at) {
            if (high >= c_MostOfStretch) {
                found = at;
                level = LevelOf(m_Values.subspan(at, c_Stretch));
                need = level + 1;
                high = CountFrom(need, m_Values.subspan(at, c_Stretch));
            }
            high += (m_Values[at + c_Stretch] >= need ? 1 : 0) - (m_Values[at] >= need ? 1 : 0);
        }
    }
    return found;
}

void CEchoParts::FindBottom()
{
    double noise = 0;
    double threshold = 0;
    if (m_HasQuiet) {
        noise = m_Quiet.Centre();
        threshold = noise + c_SpreadsAboveFloor * std::max(m_Quiet.Spread(), 1.0);
    } else if (!m_GroupSums.empty()) {
        noise = *std::ranges::min_element(m_GroupSums) / static_cast<double>(c_GroupSamples);
        threshold = c_AboveQuietest * noise;
    } else {
        return;
    }
    const auto place = FindHighestRise(threshold);
    if (!place) {
        return;
    }
    const Values_T echo = m_Values.subspan(*place, c_Stretch);
    const auto peak = std::ranges::max_element(echo);
    const std::int32_t level = LevelOf(echo);
    const Levels_T& levels = m_IsThreeDigit ? c_OfThreeDigits : c_OfDecimals;
    if (*peak < levels.leastPeak * noise || *peak > levels.mostPeak * level ||
        RisesBy(c_RiseOfLevel * level, {peak, echo.end()})) {
        return;
    }
    std::size_t front = *place + static_cast<std::size_t>(peak - echo.begin());
    for (std::size_t at = front; at > m_FirstQuiet && front - at < c_DipOfFront;) {
        front = m_Values[--at] >= *peak / 2.0 ? at : front;
    }
    std::size_t end = front / c_Stretch + 1;
    while (end < m_Sums.size() && m_Sums[end] > c_Stretch * (noise + threshold) / 2) {
        ++end;
    }
    const std::size_t last = end < m_Sums.size() ? end * c_Stretch : m_Values.size();
    const Values_T bottom = m_Values.subspan(front, last - front);
    const std::int32_t highest =
        *std::ranges::max_element(bottom.first(std::min(bottom.size(), c_FrontSamples)));
    const double area =
        std::accumulate(bottom.begin(), bottom.end(), 0.0) - noise * static_cast<double>(bottom.size());
    const double width = area / (highest - noise);
    if (width >= levels.leastWidth) {
        m_Bottom = {front, last, highest, width};
    }
}
