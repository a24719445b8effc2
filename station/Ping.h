#pragma once

#include "station/EchoFeatures.h"
#include "station/Envelope.h"
#include "station/Run.h"
#include "station/View.h"

#include <QString>

/// What is kept of a run's echo for a picture; of bounded size.
struct Ping_T {
    QString title; ///< transcript and line
    Envelope_T envelope;
    EchoLevels_T levels;
    EchoFeatures_T features;
    std::int32_t fullScale = 0;
    std::uint64_t step = 1; ///< samples of the unit from one printed sample to the next
    double metres = 0;      ///< of range from one printed sample to the next; 0: not known
    double soundSpeed = 0;  ///< metres a second, for the range
};

/// @param run          with at least one sample
/// @param mostColumns  of the envelope, at least 1
Ping_T MakePing(const Run_T& run, const View_T& view, std::size_t mostColumns);

/// Metres of range of a printed sample, with as many decimals as tell it from the next one, at least one.
/// @param ping  of which the range is known
QString RangeText(const Ping_T& ping, std::size_t sample);

/// "sample 451", with the range behind it where it is known: "sample 451 (20.01 m)".
/// @param sample  index of a printed sample
QString PlaceText(const Ping_T& ping, std::size_t sample);

/// "lowest 7, highest 65535, mean 3120.4, 12 clipped behind the ring-down"; where the ring-down's end is not
/// known "12 clipped", of all samples.
QString LevelsText(const Ping_T& ping);
