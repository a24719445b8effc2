#include "simulator/models/Reception.h"

#include "simulator/models/WireBytes.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr double c_LossAtEdge = 3; // dB
constexpr double c_HighestLoss = 40;

constexpr std::size_t c_TapWidth = 4;
constexpr std::size_t c_GainWidth = 2;
constexpr double c_GainStage = 6;  // dB
constexpr double c_GainSteps = 16; // of a decibel
} // namespace

double Amplitude(double decibels) { return std::pow(10, decibels / 20); }

double BandGain(double frequency, double centre, double width)
{
    const double distance = 2 * (frequency - centre) / width; // 1 at the edges
    return Amplitude(-std::min(c_LossAtEdge * distance * distance, c_HighestLoss));
}

Wave_T ReadTaps(ByteView_T table)
{
    Wave_T taps(table.size() / c_TapWidth);
    std::size_t length = 0;
    for (std::size_t i = 0; i < taps.size(); ++i) {
        const auto part = [&](std::size_t offset) {
            return static_cast<std::int16_t>(GetLittleEndian(table, c_TapWidth * i + offset, 2));
        };
        taps[i] = {static_cast<double>(part(0)), static_cast<double>(part(2))};
        length = std::norm(taps[i]) > 0 ? i + 1 : length;
    }
    taps.resize(length);
    return taps;
}

FilterMatch_T MatchOf(const Wave_T& taps, const Wave_T& pulse)
{
    FilterMatch_T match;
    double possible = 0;
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < std::min(taps.size(), pulse.size()); ++i) {
        match.sum += std::abs(taps[i]);
        possible += std::abs(taps[i]) * std::abs(pulse[i]);
        sum += taps[i] * pulse[i];
    }
    match.level = match.sum > 0 ? std::abs(sum) / match.sum : 0;
    match.coherence = possible > 0 ? std::abs(sum) / possible : 0;
    return match;
}

std::vector<double> ReadGains(ByteView_T table)
{
    std::vector<double> gains;
    for (std::size_t at = 0; at + c_GainWidth <= table.size(); at += c_GainWidth) {
        gains.push_back(Amplitude(c_GainStage * table[at] + table[at + 1] / c_GainSteps));
    }
    return gains;
}
