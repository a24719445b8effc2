#pragma once

#include "station/judge/Limits.h"

#include <map>
#include <set>

/// The fewest units that limits are learned from.
inline constexpr std::size_t c_FewestUnits = 20;

struct Learned_T {
    std::vector<Limit_T> limits;
    std::vector<Bytes_T> remarks; ///< for people: what was learned, what was not, and why
};

/// Learns limits from runs of good units. A transcript that does not name its unit is of one of its own. For
/// each set-up, which is a command, channel and setting, there is a limit for every measurement that all its
/// runs have and that does not depend on the receiver's law, and a band for the echo. docs/limits.md
/// describes the method.
class CLimitsLearner
{
public:
    /// @param product     of the units; empty: the limits are for any product
    /// @param rejectRate  the share of a set-up's good runs that its limits together may reject, above 0
    CLimitsLearner(Bytes_T product, double rejectRate)
        : m_Product(std::move(product)), m_RejectRate(rejectRate)
    {
    }

    void Take(const Run_T& run);

    /// Why there can be no limits: runs that are not good, and set-ups with too few units. Empty: there can.
    std::vector<Bytes_T> Objections() const;
    /// Without objections. The same runs in the same order give the same limits.
    Learned_T Learn() const;

private:
    /// A measurement: the smallest and the largest of its values in each run that has it.
    struct Measured_T {
        std::vector<std::size_t> runs; ///< indices of the set-up's
        std::vector<double> lows;
        std::vector<double> highs;
    };
    /// What was taken of one set-up.
    struct Setup_T {
        Bytes_T title;
        Limit_T limit;                            ///< its command, channel and setting
        std::vector<Bytes_T> runs;                ///< where they begin
        std::vector<std::size_t> units;           ///< of each run the number of its unit
        std::vector<std::size_t> repeated;        ///< indices of the runs that are repetitions
        std::map<Bytes_T, std::size_t> unitNames; ///< numbers of the units, by name or transcript
        std::map<Bytes_T, Measured_T> measured;   ///< by name
        std::set<std::size_t> samples;            ///< numbers of them; more than one: no band
        std::vector<std::vector<double>> means;   ///< of the columns, for each run
    };

    void LearnSetup(const Setup_T& setup, Learned_T& learned) const;
    static void Keep(const Setup_T& setup, Limit_T limit, const Measured_T& measured, Learned_T& learned);

    Bytes_T m_Product;
    double m_RejectRate;
    std::map<Bytes_T, Setup_T> m_Setups;
    std::vector<Bytes_T> m_Objections;
};

/// How far from the median of normally distributed values a limit must be, in standard deviations, so that
/// it rejects a share of further values although median and deviation are only estimated.
/// @param share  above 0, below 0.5
/// @param units  at least c_FewestUnits
double LimitDistance(double share, std::size_t units);
