#include "station/results/Statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace
{
/// Of the normal distribution, for c_Confidence on both sides.
constexpr double c_Quantile = 1.959963984540054;

// Of two values from a normal distribution: their mean range in standard deviations, and the upper control
// limit of ranges in mean ranges. NIST/SEMATECH e-Handbook of Statistical Methods, 6.3.2.2.
constexpr double c_RangePerSigma = 1.128;
constexpr double c_LimitPerRange = 3.267;
constexpr double c_LimitSigmas = 3;

bool Differs(const Spread_T& spread) { return spread.deviation.value_or(0) > 0; }

/// @param side  1 or -1
bool IsBeyond(double value, double side, double sigmas, const ControlChart_T& chart)
{
    return side * (value - chart.mean) > sigmas * chart.sigma;
}

bool Violates(const ControlRule_T& rule, std::span<const double> values, std::size_t index,
              const ControlChart_T& chart)
{
    if (rule.of == 0) {
        return index > 0 && chart.ranges[index - 1] > chart.HighRange();
    }
    const auto last = values.subspan(0, index + 1).last(std::min(rule.of, index + 1));
    return std::ranges::any_of(std::array{1.0, -1.0}, [&](double side) {
        const auto isBeyond = [&](double value) { return IsBeyond(value, side, rule.sigmas, chart); };
        return isBeyond(values[index]) &&
               static_cast<std::size_t>(std::ranges::count_if(last, isBeyond)) >= rule.needed;
    });
}
} // namespace

double Share_T::Value() const
{
    return all == 0 ? std::numeric_limits<double>::quiet_NaN()
                    : static_cast<double>(good) / static_cast<double>(all);
}

// The score interval of E. B. Wilson, "Probable Inference, the Law of Succession, and Statistical Inference",
// Journal of the American Statistical Association 22 (1927), 209-212.
Interval_T WilsonInterval(const Share_T& share)
{
    const double share0 = share.Value();
    const auto count = static_cast<double>(share.all);
    const double square = c_Quantile * c_Quantile / count;
    const double middle = (share0 + square / 2) / (1 + square);
    const double half =
        c_Quantile / (1 + square) * std::sqrt(share0 * (1 - share0) / count + square / (4 * count));
    return {share.good == 0 ? 0 : middle - half, share.good == share.all ? 1 : middle + half};
}

// In two passes, so that large values with small differences keep their digits.
double Mean(std::span<const double> values)
{
    const auto count = static_cast<double>(values.size());
    const double near = std::accumulate(values.begin(), values.end(), 0.0) / count;
    return std::accumulate(values.begin(), values.end(), 0.0,
                           [near](double sum, double value) { return sum + (value - near); }) /
               count +
           near;
}

// The root of the sum of squared distances from the mean over one less than the count (e-Handbook, 1.3.5.6).
Spread_T SpreadOf(std::span<const double> values)
{
    Spread_T spread{.count = values.size(), .mean = Mean(values), .deviation = {}};
    if (values.size() > 1) {
        const double squares =
            std::accumulate(values.begin(), values.end(), 0.0, [&spread](double sum, double value) {
                return sum + (value - spread.mean) * (value - spread.mean);
            });
        spread.deviation = std::sqrt(squares / static_cast<double>(values.size() - 1));
    }
    return spread;
}

// The width of the bounds over six sample standard deviations (e-Handbook, 6.1.6).
std::optional<double> Cp(const Spread_T& spread, const Bounds_T& bounds)
{
    if (!Differs(spread) || !bounds.least || !bounds.most) {
        return std::nullopt;
    }
    return (*bounds.most - *bounds.least) / (6 * *spread.deviation);
}

// The distance of the mean from the nearer bound over three sample standard deviations (e-Handbook, 6.1.6).
std::optional<double> Cpk(const Spread_T& spread, const Bounds_T& bounds)
{
    if (!Differs(spread) || (!bounds.least && !bounds.most)) {
        return std::nullopt;
    }
    double distance = std::numeric_limits<double>::infinity();
    if (bounds.least) {
        distance = spread.mean - *bounds.least;
    }
    if (bounds.most) {
        distance = std::min(distance, *bounds.most - spread.mean);
    }
    return distance / (3 * *spread.deviation);
}

// The difference of the means over its standard error: B. L. Welch, "The generalization of 'Student's'
// problem when several different population variances are involved", Biometrika 34 (1947), 28-35.
std::optional<double> WelchStatistic(const Spread_T& one, const Spread_T& other)
{
    if (!one.deviation || !other.deviation || (!Differs(one) && !Differs(other))) {
        return std::nullopt;
    }
    return (one.mean - other.mean) /
           std::sqrt(*one.deviation * *one.deviation / static_cast<double>(one.count) +
                     *other.deviation * *other.deviation / static_cast<double>(other.count));
}

double ControlChart_T::Low() const { return mean - c_LimitSigmas * sigma; }
double ControlChart_T::High() const { return mean + c_LimitSigmas * sigma; }
double ControlChart_T::HighRange() const { return c_LimitPerRange * meanRange; }

// The moving ranges are the distances of successive values; sigma is their mean over a constant (e-Handbook,
// 6.3.2.2).
ControlChart_T MakeControlChart(std::span<const double> values)
{
    ControlChart_T chart;
    chart.mean = Mean(values);
    for (std::size_t i = 1; i < values.size(); ++i) {
        chart.ranges.push_back(std::abs(values[i] - values[i - 1]));
    }
    chart.meanRange = Mean(chart.ranges);
    chart.sigma = chart.meanRange / c_RangePerSigma;
    return chart;
}

// The four tests for unnatural patterns of the Western Electric Company's Statistical Quality Control
// Handbook (1956); e-Handbook, 6.3.2.
std::vector<Violation_T> FindViolations(std::span<const double> values, const ControlChart_T& chart)
{
    std::vector<Violation_T> violations;
    if (chart.sigma == 0) { // then rounding could put values on a side of the mean
        return violations;
    }
    for (std::size_t index = 0; index < values.size(); ++index) {
        for (const ControlRule_T& rule : c_ControlRules) {
            if (Violates(rule, values, index, chart)) {
                violations.push_back({&rule, index});
            }
        }
    }
    return violations;
}
