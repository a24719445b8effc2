#pragma once

#include "station/judge/Echo.h"
#include "station/output/Formats.h"

#include <QString>

#include <vector>

/// What is kept of a run's echo for a picture; of bounded size.
struct Ping_T {
    QString title; ///< transcript and line
    Envelope_T envelope;
    std::optional<std::size_t> ringDownEnd; ///< first printed sample after the ring-down
    std::optional<std::size_t> bottom;      ///< printed sample at the front of the bottom's echo
    std::int32_t fullScale = 0;
    std::uint64_t step = 1; ///< samples of the unit from one printed sample to the next
    double metres = 0;      ///< of range from one printed sample to the next; 0: not known
    double soundSpeed = 0;  ///< metres a second, for the range
    /// Of a tenfold sample; 40 where samples are square roots of the amplitude.
    double decibels = 20;
    /// The band of a limit in which the mean of each column must be; null without a band.
    const Envelope_T* band = nullptr;
};

/// @param run          measured, with at least one sample
/// @param mostColumns  of the envelope, at least 1
Ping_T MakePing(const Run_T& run, const View_T& view, std::size_t mostColumns);

/// Decibels of full scale; of a sample of 0 and below it LowestDecibels().
double DecibelsOf(const Ping_T& ping, std::int32_t value);
/// Of half a count.
double LowestDecibels(const Ping_T& ping);

/// Metres of range of a printed sample, with the decimals that distinguish it from the next one, at least
/// one.
/// @param ping  with a known range
QString RangeText(const Ping_T& ping, std::size_t sample);

/// "sample 451", or "sample 451 (20.01 m)" where the range is known.
/// @param sample  index of a printed sample
QString PlaceText(const Ping_T& ping, std::size_t sample);

struct Ticks_T {
    std::vector<double> values; ///< at least one
    int decimals = 0;           ///< that they need to be shown
};

/// Round numbers (1, 2 or 5 times a power of ten apart) from one value to another, at most so many.
/// @param to    not below from; both finite
/// @param most  at least 2
Ticks_T Ticks(double from, double to, int most);
