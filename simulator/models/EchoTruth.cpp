#include "simulator/models/EchoTruth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace
{
constexpr double c_MedianOfNoise = 1.25415; // of the magnitude, if each part is triangular and has 1
constexpr double c_QuietLevel = 0.1;        // of full scale, as a sample shows it

/// A member of an object, with enough digits to compare it and the same ones on each machine.
std::string Member(const char* key, double value)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "\"%s\": %.7g", key, value);
    return text.data();
}

/// A level as a sample without noise shows it, and in dB of full scale.
std::string Level(double level, unsigned int bits)
{
    const double share = std::min(level / c_FullScale, 1.0);
    const double value = bits == 8 ? 255 * std::sqrt(share) : c_FullScale * share;
    return Member("value", value) + ", " +
           Member("level", 20 * std::log10(std::max(level, 1e-6) / c_FullScale));
}

/// The place from which on a ring-down is quiet.
double QuietFrom(const EchoTruth_T::RingDown_T& ringDown, unsigned int bits)
{
    const double quiet = c_FullScale * (bits == 8 ? c_QuietLevel * c_QuietLevel : c_QuietLevel);
    return ringDown.level <= quiet ? 0 : ringDown.pulse + ringDown.decay * std::log(ringDown.level / quiet);
}
} // namespace

std::string TruthLine(const EchoTruth_T& truth)
{
    std::string line = "{" + Member("ping", truth.ping) + ", " + Member("channel", truth.channel) + ", " +
                       Member("samples", static_cast<double>(truth.samples)) + ", " +
                       Member("bits", truth.bits) + ", " + Member("interval", truth.interval) +
                       ", \"noise\": {" + Level(c_MedianOfNoise * truth.noise, truth.bits) + "}";
    line += ", \"ringDown\": ";
    if (const auto& ringDown = truth.ringDown) {
        line += "{" + Level(ringDown->level, truth.bits) + ", " + Member("pulse", ringDown->pulse) + ", " +
                Member("decay", ringDown->decay) + ", " + Member("end", QuietFrom(*ringDown, truth.bits)) +
                "}";
    } else {
        line += "null";
    }
    line += ", \"bottom\": ";
    if (const auto& bottom = truth.bottom) {
        line += "{" + Level(bottom->level, truth.bits) + ", " + Member("front", bottom->front) + ", " +
                Member("range", bottom->range) + "}";
    } else {
        line += "null";
    }
    return line + "}\n";
}
