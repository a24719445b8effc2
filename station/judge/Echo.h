#pragma once

#include "station/transcript/Run.h"

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

/// Quantile() of a quarter, a half and three quarters.
struct Quartiles_T {
    double lower;
    double median;
    double upper;
};

/// How often values occur, for their order statistics. All values above 8 times the expected one count as
/// one.
class CHistogram
{
public:
    /// Forgets everything.
    /// @param expected  about the mean of the values that follow, at least 0
    void Begin(double expected);
    void Add(std::span<const std::int32_t> values);

    std::uint64_t Count() const { return m_Count; }
    /// Number of different values; of large ones, neighbours count as one.
    std::size_t DistinctValues() const;
    /// The value that a share of the values does not exceed. Equal values above 0 are spread evenly over the
    /// distance to their neighbours.
    /// @param share  above 0 and below 1; there must be values
    double Quantile(double share) const;
    /// Their centre, from three order statistics: half of the median and a quarter of both quartiles. There
    /// must be values.
    double Centre() const;
    /// From the lower to the upper quartile. There must be values.
    double Spread() const { return Quartiles().upper - Quartiles().lower; }
    /// There must be values.
    const Quartiles_T& Quartiles() const;
    /// The share of the values between two that do not occur; 0 if no value is between them.
    double MissingBetween(double from, double to) const;

private:
    int m_Shift = 0;
    std::uint64_t m_Count = 0;
    std::vector<std::uint32_t> m_Bins;
    mutable std::optional<Quartiles_T> m_Quartiles; ///< once something asked for them
};

/// The value that as many others as given do not exceed: with 0, the smallest. Faster than sorting, because
/// it only counts.
/// @param others  below the number of values; the values are at least 0
std::int32_t OrderStatistic(std::span<const std::int32_t> values, std::size_t others);

/// What all samples of an echo have in common.
struct EchoTotals_T {
    std::int32_t smallest = 0;
    std::int32_t largest = 0;
    double mean = 0;
    std::uint32_t bitsInAll = 0; ///< bits that are 1 in every sample
    std::uint32_t bitsInAny = 0;
};

/// The echo of the bottom, as indices of printed samples.
struct BottomEcho_T {
    std::size_t front = 0; ///< the first sample that is half as high as the highest, or higher
    std::size_t end = 0;   ///< the first sample after the echo has died away, or the number of samples
    std::int32_t peak = 0; ///< the highest of the first samples
    double width = 0;      ///< the area above the noise, divided by the height of the peak above the noise
};

/// Finds the parts of an echo: the transmit pulse with its ring-down, the quiet part, and the bottom. What is
/// not certain is absent. The memory for an echo is used again for the next one.
class CEchoParts
{
public:
    /// Takes an echo, which must outlive the questions about it.
    void Find(const Samples_T& samples);

    std::span<const std::int32_t> Values() const { return m_Values; }
    const EchoTotals_T& Totals() const { return m_Totals; }

    /// Where the ring-down falls below its quiet level, in printed samples from the first, with a fraction.
    ///
    /// The quiet level is 10 % of full scale, and 30 % with three digits. The first sample is the transmit
    /// pulse, at half of full scale or more. The ring-down ends before the first of 16 samples in a row below
    /// the quiet level. Its end is not certain if the level rises by more than 10 % of full scale before,
    /// because then there is another echo in the ring-down, nor if the last sample before the end is clipped.
    /// Between two samples the decay is exponential.
    const std::optional<double>& RingDownEnd() const { return m_RingDownEnd; }
    /// The samples after the ring-down; all if it is not known which these are.
    std::span<const std::int32_t> AfterRingDown() const { return m_Values.subspan(m_FirstQuiet); }

    /// The quiet part: groups of 32 samples after the ring-down with a low energy, whose mean is at most 1.4
    /// times (with three digits 1.2 times) the mean that an eighth of them does not exceed. A group is left
    /// out if the one before it is too loud, because the tail of an echo may reach into it. Null if there are
    /// fewer than 320 samples, or if they fall like the tail of an echo.
    const CHistogram* Quiet() const { return m_HasQuiet ? &m_Quiet : nullptr; }
    /// The quiet groups, also those after one that is too loud, as indices of their first samples; in order.
    std::span<const std::size_t> QuietGroups() const { return m_QuietGroups; }
    static constexpr std::size_t c_GroupSamples = 32;

    /// The bottom; only if it is known which samples come after the ring-down.
    ///
    /// Echoes of fish are short, so a place has the level that 12 of its 16 samples reach: an order statistic
    /// as in a detector with a constant rate of false alarms. Its threshold is 4 spreads of the noise above
    /// the noise floor. The tail of the ring-down is long, so the level must also be twice the mean of 16
    /// samples before it. The bottom is the place with the highest such level. It is not certain if the
    /// highest sample is below 9 times the noise floor (3 times with three digits), or if the 16 samples look
    /// like several echoes: the highest is above 10 times the level (3 times with three digits), or after it
    /// they rise again by more than 75 % of the level. Even a fish has a long echo if the correlation
    /// filter does not fit, so the width must be at least 11 printed samples.
    const std::optional<BottomEcho_T>& Bottom() const { return m_Bottom; }

private:
    void FindTotals();
    void FindRingDownEnd();
    void FindQuiet();
    void FindBottom();
    std::optional<std::size_t> FindHighestRise(double threshold) const;

    std::span<const std::int32_t> m_Values;
    double m_FullScale = 1;
    bool m_IsThreeDigit = false;
    EchoTotals_T m_Totals;
    bool m_HasRingDown = false; ///< and it ends before m_FirstQuiet
    std::optional<double> m_RingDownEnd;
    std::size_t m_FirstQuiet = 0; ///< first sample that may be quiet
    bool m_HasQuiet = false;
    CHistogram m_Quiet;
    std::vector<std::size_t> m_QuietGroups;
    std::vector<std::int32_t> m_Sums; ///< of 16 samples each
    std::vector<std::int32_t> m_GroupSums;
    std::optional<BottomEcho_T> m_Bottom;
};
