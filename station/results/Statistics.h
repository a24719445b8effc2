#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

// The statistics of a production line. docs/yield.md says what each figure means.

/// A count of good ones, and the confidence interval of their share.
struct Share_T {
    std::uint64_t good = 0;
    std::uint64_t all = 0;

    /// 0 to 1; not a number if there are none.
    double Value() const;
};

/// Of the confidence intervals.
inline constexpr double c_Confidence = 0.95;

struct Interval_T {
    double low = 0;
    double high = 0;
};

/// The confidence interval of a share, within 0 to 1.
/// @param share  of at least one
Interval_T WilsonInterval(const Share_T& share);

/// @param values  at least one
double Mean(std::span<const double> values);

/// Mean and sample standard deviation.
struct Spread_T {
    std::size_t count = 0;
    double mean = 0;
    std::optional<double> deviation; ///< nothing for a single value
};
/// @param values  at least one
Spread_T SpreadOf(std::span<const double> values);

/// What values must be; without a bound, anything is good on that side.
struct Bounds_T {
    std::optional<double> least;
    std::optional<double> most;

    bool operator==(const Bounds_T&) const = default;
};

/// Nothing if a bound is missing, or if the values do not differ.
std::optional<double> Cp(const Spread_T& spread, const Bounds_T& bounds);
/// Of one bound if the other is missing. Nothing if both are missing, or if the values do not differ.
std::optional<double> Cpk(const Spread_T& spread, const Bounds_T& bounds);

/// How far two means are apart, in standard errors. Nothing if one has fewer than two values, or if no
/// values differ.
std::optional<double> WelchStatistic(const Spread_T& one, const Spread_T& other);

/// A chart of individuals and one of moving ranges.
struct ControlChart_T {
    double mean = 0;
    double sigma = 0; ///< the standard deviation from one value to the next; 0 if the values do not differ
    double meanRange = 0;
    std::vector<double> ranges; ///< one fewer than values

    double Low() const;       ///< lower control limit
    double High() const;      ///< upper control limit
    double HighRange() const; ///< upper control limit of the ranges
};
/// @param values  at least two, in the order of time
ControlChart_T MakeControlChart(std::span<const double> values);

/// A rule for a control chart.
struct ControlRule_T {
    const char* name;
    const char* meaning; ///< what violates it
    std::size_t needed;  ///< so many of the last values violate it, if ...
    std::size_t of;      ///< ... they are among so many; 0: the rule is for the moving range
    double sigmas;       ///< ... and further than this from the mean, on the same side
};
/// The four Western Electric rules, and the one of the moving range.
inline constexpr std::array<ControlRule_T, 5> c_ControlRules = {{
    {"beyond-3-sigma", "a value is more than 3 sigma from the mean", 1, 1, 3},
    {"two-of-three", "2 of 3 values in a row are more than 2 sigma from the mean, on the same side", 2, 3, 2},
    {"four-of-five", "4 of 5 values in a row are more than 1 sigma from the mean, on the same side", 4, 5, 1},
    {"eight-in-a-row", "8 values in a row are on the same side of the mean", 8, 8, 0},
    {"moving-range", "two values in a row differ by more than the upper limit of the moving range", 1, 0, 0},
}};

struct Violation_T {
    const ControlRule_T* rule = nullptr;
    std::size_t index = 0; ///< of the last value that violates it
};
/// In the order of the values, and of the rules.
std::vector<Violation_T> FindViolations(std::span<const double> values, const ControlChart_T& chart);
