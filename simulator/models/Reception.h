#pragma once

#include "simulator/models/DeviceModel.h"

#include <complex>
#include <vector>

// What the settings of an FPGA do to an echo, in closed form. Gains are factors of amplitudes. docs/scene.md
// says which of this the registers mean and which is assumed.

/// The gain of a number of decibels.
double Amplitude(double decibels);

/// The gain of a band for a frequency: -3 dB at its edges, falling with the square of the distance, at least
/// -40 dB.
double BandGain(double frequency, double centre, double width);

/// The gain of a boost level, if the reference level has the gain 1.
inline double BoostGain(unsigned int level, unsigned int reference)
{
    return (level + 1.0) / (reference + 1.0);
}

/// What the transducer of the other element or channel hears.
inline constexpr double c_NeighbourGain = 0.03;

/// The band of a transducer, as a part of its frequency.
inline constexpr double c_TransducerBand = 0.2;

using Wave_T = std::vector<std::complex<double>>;

/// The coefficients of a correlation filter, pairs of little-endian numbers of 16 bits; up to the last that
/// is not zero.
Wave_T ReadTaps(ByteView_T table);

/// What a correlation filter does to a pulse.
struct FilterMatch_T {
    double sum = 0;       ///< of the coefficients' magnitudes: what the filter gives at most
    double level = 0;     ///< what it gives for the pulse, as a part of the sum
    double coherence = 0; ///< 1 for coefficients that match the pulse; other pulses add up to less
};

/// @param pulse  at baseband, by coefficient
FilterMatch_T MatchOf(const Wave_T& taps, const Wave_T& pulse);

/// The gains of a table of time-varied gain: the first byte of an entry counts 6 dB, the second 1/16 dB.
std::vector<double> ReadGains(ByteView_T table);
