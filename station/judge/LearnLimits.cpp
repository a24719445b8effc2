#include "station/judge/LearnLimits.h"

#include "station/judge/Measurements.h"

#include <QByteArray>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <numeric>

namespace
{
constexpr std::size_t c_MostColumns = 128;
constexpr double c_ColumnRate = 0.02; // of one column; the share of columns outside is learned, too
constexpr double c_UpperQuantile = 0.95;
constexpr double c_UnitsBeyond = 2;      // the far quantile, which finds a long tail, leaves out so many
constexpr double c_UnitsOfFreedom = 3.5; // units for one degree of freedom of the spread
constexpr double c_MarginOfDistance = 0.2;
constexpr std::size_t c_MostOutliers = 20;

/// Measurements of which the smallest difference matters. If all good units have the same value, only that
/// is good.
constexpr std::string_view c_Exact[] = {"firmwareMajor", "firmwareMinor", "stuckHighBits", "stuckLowBits"};

using Values_T = std::vector<double>;

double Quantile(const Values_T& sorted, double share)
{
    const double place = share * static_cast<double>(sorted.size() - 1);
    const auto below = static_cast<std::size_t>(place);
    const std::size_t above = std::min(below + 1, sorted.size() - 1);
    return std::lerp(sorted[below], sorted[above], place - static_cast<double>(below));
}

/// Deviations that a share of normally distributed values exceeds.
double NormalDistance(double share)
{
    double low = 0;
    double high = 40;
    for (int turn = 0; turn < 100; ++turn) {
        const double middle = (low + high) / 2;
        (std::erfc(middle / std::numbers::sqrt2) / 2 > share ? low : high) = middle;
    }
    return low;
}

/// One side of a limit.
struct Side_T {
    double median;
    double limit;

    double Distance() const { return limit - median; }
};

/// The upper side. Its spread is that of the upper values alone, as two quantiles have it: one that is known
/// well, and one further out, which is larger if the values have a long tail.
/// @param deviations  from the median
/// @param step        the smallest difference that the values can have; 0: any
Side_T UpperSide(Values_T values, double deviations, double step)
{
    std::ranges::sort(values);
    const double median = Quantile(values, 0.5);
    double spread = step / std::sqrt(12.0); // the least of what is rounded to whole steps
    const double far = std::max(c_UpperQuantile, 1 - c_UnitsBeyond / static_cast<double>(values.size()));
    for (const double share : {c_UpperQuantile, far}) {
        spread = std::max(spread, (Quantile(values, share) - median) / NormalDistance(1 - share));
    }
    // What happens by chance in few runs can happen once more.
    return {median, std::max(median + deviations * spread, Quantile(values, far) + step)};
}

/// As people write it: at most three digits of the distance, and no digits that binary numbers add. Whole
/// numbers are rounded down, because what is between them does not occur.
double RoundedUp(const Side_T& side, bool isWhole)
{
    constexpr double c_Nearly = 1e-9;
    if (isWhole) {
        return std::floor(side.limit + c_Nearly);
    }
    constexpr int c_Digits = 12;
    const double unit = std::pow(10, std::floor(std::log10(side.Distance())) - 2);
    const double rounded = std::ceil(side.limit / unit - c_Nearly) * unit;
    return side.Distance() > 0 ? QByteArray::number(rounded, 'g', c_Digits).toDouble() : side.limit;
}

/// The smallest difference of values that have decimals, as a file shows them.
double DecimalStep(const Values_T& values)
{
    constexpr double c_Nearly = 1e-6;
    for (const double step : {1.0, 0.1, 0.01, 0.001}) {
        if (std::ranges::all_of(values, [step](double value) {
                return std::abs(value / step - std::round(value / step)) < c_Nearly;
            })) {
            return step;
        }
    }
    return 0;
}

/// @param samples  of the echo, for shares of them
double StepOf(const MeasurementRow_T& row, const Values_T& values, std::size_t samples)
{
    const std::string_view unit = row.unit;
    if (unit == "counts" || unit == "samples") {
        return 1;
    }
    const bool isShare = row.least == 0 && row.most == 1;
    return isShare ? 1 / static_cast<double>(std::max<std::size_t>(samples, 1)) : DecimalStep(values);
}

/// The limit for a measurement, without a side on which every possible value is good.
/// @param lows, highs  the smallest and the largest value of each run
/// @param deviations   from the median
void LearnRange(const MeasurementRow_T& row, const Values_T& lows, const Values_T& highs, double deviations,
                std::size_t samples, Limit_T& limit)
{
    limit.measurement = row.name;
    const double lowest = *std::ranges::min_element(lows);
    if (lowest == *std::ranges::max_element(highs) &&
        std::ranges::find(c_Exact, row.name) != std::end(c_Exact)) {
        limit.least = lowest;
        limit.most = lowest;
        return;
    }
    const double step = StepOf(row, highs, samples);
    const bool isWhole = step == 1 && DecimalStep(highs) == 1 && DecimalStep(lows) == 1;
    Values_T negated(lows.size());
    std::ranges::transform(lows, negated.begin(), std::negate());
    const Side_T upper = UpperSide(highs, deviations, step);
    const Side_T lower = UpperSide(negated, deviations, step);
    double nearest = c_Any;
    if (const double most = RoundedUp(upper, isWhole); most < row.most) {
        limit.most = most;
        nearest = most - upper.median;
    }
    if (const double least = -RoundedUp(lower, isWhole); least > row.least) {
        limit.least = least;
        nearest = std::min(nearest, -lower.median - least);
    }
    if (std::isfinite(nearest) && nearest > 0) {
        limit.margin = QByteArray::number(c_MarginOfDistance * nearest, 'g', 3).toDouble();
    }
}

/// A whole number that an edge of a band can be.
std::int32_t Edge(double value)
{
    constexpr double c_Lowest = -99;
    constexpr double c_Highest = 65535;
    return static_cast<std::int32_t>(std::clamp(value, c_Lowest, c_Highest));
}

/// The columns' means of each run, and the number of its unit.
struct Echoes_T {
    const std::vector<Values_T>& means;
    const std::vector<std::size_t>& units;
};

/// The range of each column's mean, as the units have it whose number is in the mask.
Envelope_T LearnEdges(const Echoes_T& echoes, std::size_t mask, double deviations)
{
    Envelope_T band;
    for (std::size_t column = 0; column < echoes.means.front().size(); ++column) {
        Values_T values;
        for (std::size_t run = 0; run < echoes.means.size(); ++run) {
            if ((echoes.units[run] % 2 + 1) & mask) {
                values.push_back(echoes.means[run][column]);
            }
        }
        band.high.push_back(Edge(std::ceil(UpperSide(values, deviations, 1).limit)));
        std::ranges::transform(values, values.begin(), std::negate());
        band.low.push_back(Edge(std::floor(-UpperSide(values, deviations, 1).limit)));
    }
    return band;
}

/// The band for an echo, and the share of columns that may be outside.
/// @param share  of good runs that it may reject
/// @return       the share of columns that are outside, of each run
Values_T LearnBand(const Echoes_T& echoes, std::size_t units, double share, Limit_T& limit)
{
    constexpr std::size_t c_EvenUnits = 1;
    constexpr std::size_t c_OddUnits = 2;
    const double deviations = LimitDistance(c_ColumnRate / 2, units);
    const auto outsideOf = [&echoes](const Envelope_T& even, const Envelope_T& odd) {
        Values_T outside;
        for (std::size_t run = 0; run < echoes.means.size(); ++run) {
            outside.push_back(ShareOutside(echoes.units[run] % 2 == 0 ? even : odd, echoes.means[run]));
        }
        return outside;
    };
    // Runs are nearer to a band that was learned from them, so each half is held against the other's band.
    Values_T outside =
        outsideOf(LearnEdges(echoes, c_OddUnits, deviations), LearnEdges(echoes, c_EvenUnits, deviations));
    std::ranges::sort(outside);
    // What puts one column outside often puts many there, so the share has a tail as long as an exponential
    // distribution.
    const double median = Quantile(outside, 0.5);
    const double decay =
        (Quantile(outside, c_UpperQuantile) - median) / std::log(0.5 / (1 - c_UpperQuantile));
    const double columns = static_cast<double>(echoes.means.front().size());
    const double most = std::ceil((median + decay * std::log(0.5 / share)) * columns) + 1;
    limit.most = most < columns ? most / columns : c_Any;
    limit.measurement = c_OutsideBand;
    const std::size_t samples = limit.band.samples;
    limit.band = LearnEdges(echoes, c_EvenUnits | c_OddUnits, deviations);
    limit.band.samples = samples;
    return outsideOf(limit.band, limit.band);
}

Bytes_T Counted(std::size_t count, const char* noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

Bytes_T PlaceOf(const Run_T& run) { return run.transcript + ":" + std::to_string(run.firstLine); }
} // namespace

double LimitDistance(double share, std::size_t units)
{
    // Student's distribution, as a function of the normal one; and the median is only estimated, too.
    const double normal = NormalDistance(share);
    const double count = static_cast<double>(units);
    const double freedom = count / c_UnitsOfFreedom;
    const double factor = (freedom - 1.5) / ((freedom - 1) * (freedom - 1));
    const double student = std::sqrt(freedom * std::expm1(normal * normal * factor));
    return student * std::sqrt(1 + std::numbers::pi / 2 / count);
}

void CLimitsLearner::Take(const Run_T& run)
{
    if (run.outcome != Outcome::Passed && run.outcome != Outcome::Performed) {
        m_Objections.push_back(PlaceOf(run) + ": " + NameOf(run.outcome) + ": " + run.reason);
        return;
    }
    const Bytes_T channel = ChannelOf(run);
    const Bytes_T setting = SettingOf(run);
    Setup_T& setup = m_Setups[run.command + '\n' + channel + '\n' + setting];
    if (setup.runs.empty()) {
        setup.title = run.command + (setting.empty() ? "" : " ") + setting;
        setup.limit.command = run.command;
        setup.limit.product = m_Product.empty() ? "*" : m_Product;
        setup.limit.channel = channel.empty() ? "*" : channel;
        setup.limit.setting = setting.empty() ? "*" : setting;
    }
    setup.runs.push_back(PlaceOf(run));
    const Bytes_T& unit = run.record.unit.empty() ? run.transcript : run.record.unit;
    setup.units.push_back(setup.unitNames.try_emplace(unit, setup.unitNames.size()).first->second);
    if (run.repetition > 0) {
        setup.repeated.push_back(setup.runs.size() - 1);
    }
    std::map<std::string_view, std::pair<double, double>> extremes;
    for (const Quantity_T& measured : run.measurements) {
        auto& [low, high] = extremes.try_emplace(measured.name, c_Any, -c_Any).first->second;
        low = std::min(low, measured.value);
        high = std::max(high, measured.value);
    }
    for (const auto& [name, extreme] : extremes) {
        Measured_T& measured = setup.measured[Bytes_T(name)];
        measured.runs.push_back(setup.runs.size() - 1);
        measured.lows.push_back(extreme.first);
        measured.highs.push_back(extreme.second);
    }
    const auto& values = run.samples.values;
    setup.samples.insert(values.size());
    if (!values.empty()) {
        setup.means.push_back(ColumnMeans(values, std::min(values.size(), c_MostColumns)));
    }
}

std::vector<Bytes_T> CLimitsLearner::Objections() const
{
    std::vector<Bytes_T> objections = m_Objections;
    for (const auto& [key, setup] : m_Setups) {
        const std::size_t units = setup.unitNames.size();
        if (units < c_FewestUnits) {
            objections.push_back(setup.title + ": limits need runs of at least " +
                                 Counted(c_FewestUnits, "unit") + ", with a transcript for each; there " +
                                 (units == 1 ? "is " : "are ") + std::to_string(units));
        }
    }
    return objections;
}

void CLimitsLearner::LearnSetup(const Setup_T& setup, Learned_T& learned) const
{
    const std::size_t runs = setup.runs.size();
    const std::size_t units = setup.unitNames.size();
    const auto remark = [&](const Bytes_T& text) { learned.remarks.push_back(setup.title + ": " + text); };
    std::vector<std::pair<const MeasurementRow_T*, const Measured_T*>> rows;
    for (const MeasurementRow_T& row : MeasurementRows()) {
        const auto found = setup.measured.find(row.name);
        if (found == setup.measured.end() || row.usesLaw) {
            continue;
        }
        const Measured_T& measured = found->second;
        const std::size_t count = measured.runs.size();
        const bool areEnough = count >= c_FewestUnits && measured.runs == setup.repeated;
        if (count == runs || areEnough) {
            rows.emplace_back(&row, &measured);
        } else {
            remark(Bytes_T("no limit for ") + row.name + ", which " + Counted(runs - count, "run") + " of " +
                   std::to_string(runs) + " do not have");
        }
    }
    const std::size_t samples = setup.samples.size() == 1 ? *setup.samples.begin() : 0;
    if (setup.samples.size() > 1) {
        remark("no band for the echo, because the runs differ in their number of samples");
    }
    const std::size_t count = rows.size() + (samples > 0 ? 1 : 0);
    if (count == 0) {
        return remark("no limits, because nothing is measured");
    }
    const double share = m_RejectRate / static_cast<double>(count); // of good runs, for each limit
    const std::size_t before = learned.limits.size();
    for (const auto& [pRow, pMeasured] : rows) {
        Limit_T limit = setup.limit;
        limit.isRepeated = pMeasured->runs.size() < runs;
        const double deviations = LimitDistance(share / 2, std::min(units, pMeasured->runs.size()));
        LearnRange(*pRow, pMeasured->lows, pMeasured->highs, deviations, *setup.samples.begin(), limit);
        Keep(setup, std::move(limit), *pMeasured, learned);
    }
    if (samples > 0) {
        Limit_T limit = setup.limit;
        limit.band.samples = samples;
        const Values_T outside = LearnBand({setup.means, setup.units}, units, share, limit);
        std::vector<std::size_t> all(runs);
        std::iota(all.begin(), all.end(), 0);
        Keep(setup, std::move(limit), {all, outside, outside}, learned);
    }
    remark(Counted(learned.limits.size() - before, "limit") + " from " + Counted(runs, "run") + " of " +
           Counted(units, "unit"));
}

/// Adds a limit, unless it limits nothing. Names the runs that it rejects.
void CLimitsLearner::Keep(const Setup_T& setup, Limit_T limit, const Measured_T& measured, Learned_T& learned)
{
    if (std::isinf(limit.least) && std::isinf(limit.most)) {
        learned.remarks.push_back(setup.title + ": no limit for " + limit.measurement +
                                  ", because every possible value would be good");
        return;
    }
    std::size_t named = 0;
    for (std::size_t i = 0; i < measured.runs.size() && named < c_MostOutliers; ++i) {
        if (measured.lows[i] < limit.least || measured.highs[i] > limit.most) {
            learned.remarks.push_back(setup.runs[measured.runs[i]] + ": " + limit.measurement +
                                      " would be bad by these limits; is the unit good?");
            ++named;
        }
    }
    learned.limits.push_back(std::move(limit));
}

Learned_T CLimitsLearner::Learn() const
{
    Learned_T learned;
    for (const auto& [key, setup] : m_Setups) {
        LearnSetup(setup, learned);
    }
    return learned;
}
