#include "simulator/models/UnitDefects.h"

#include "simulator/models/Reception.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace
{
// What varies between good units.
constexpr double c_LevelVariation = 1; // dB, of gain and noise
constexpr double c_RingingVariation = 0.05;
constexpr double c_ClockVariation = 100e-6;

/// What the transducer of the other channel gets of the ring-down.
constexpr double c_NeighboursRingDown = 0.003;

/// The bit of a 16-bit sample that a severity names, from 1 for the lowest.
std::uint16_t BitOf(double severity) { return static_cast<std::uint16_t>(1U << (std::lround(severity) - 1)); }

constexpr DefectKind_T c_DefectKinds[] = {
    {"deadZeros", 0, 1, [](UnitTraits_T& unit, double share) { unit.zeros = share; }},
    {"deadConstant", 0, 1, [](UnitTraits_T& unit, double share) { unit.constant = share; }},
    {"deadNoise", 0, 1, [](UnitTraits_T& unit, double share) { unit.onlyConverter = share; }},
    {"deaf", 0, 96, [](UnitTraits_T& unit, double decibels) { unit.gain *= Amplitude(-decibels); }},
    {"noisy", 0, 96, [](UnitTraits_T& unit, double decibels) { unit.noise *= Amplitude(decibels); }},
    {"clipping", 0, 96, [](UnitTraits_T& unit, double decibels) { unit.gain *= Amplitude(decibels); }},
    {"stuckHigh", 1, 16, [](UnitTraits_T& unit, double bit) { unit.stuckHigh = BitOf(bit); }, true},
    {"stuckLow", 1, 16, [](UnitTraits_T& unit, double bit) { unit.stuckLow = BitOf(bit); }, true},
    {"missingCodes", 0, 0.95, [](UnitTraits_T& unit, double share) { unit.missingCodes = share; }},
    {"dropouts", 0, 1, [](UnitTraits_T& unit, double share) { unit.dropouts = share; }},
    {"interference", 0, 96,
     [](UnitTraits_T& unit, double decibels) { unit.interference = Amplitude(decibels); }},
    {"offset", 0, 1, [](UnitTraits_T& unit, double share) { unit.offset = share; }},
    {"weakTransmitter", 0, 96,
     [](UnitTraits_T& unit, double decibels) { unit.transmit *= Amplitude(-decibels); }},
    {"longRinging", 0, 50, [](UnitTraits_T& unit, double more) { unit.ringing *= 1 + more; }},
    {"noTransducer", 0, 1, [](UnitTraits_T& unit, double share) { unit.echoes *= 1 - share; }},
    {"wrongFrequency", -0.5, 0.5, [](UnitTraits_T& unit, double share) { unit.frequency = 1 + share; }},
    {"swappedChannels", 0, 1,
     [](UnitTraits_T& unit, double share) {
         unit.echoes *= 1 - share * (1 - c_NeighbourGain);
         unit.ringDown *= 1 - share * (1 - c_NeighboursRingDown);
     }},
    {"staleSamples", 0, 1, [](UnitTraits_T& unit, double share) { unit.stale = share; }},
    {"wrongClock", -0.5, 0.5, [](UnitTraits_T& unit, double share) { unit.clock *= 1 + share; }},
};

/// A number from -1 to 1, most often near 0.
double Variation(std::mt19937& generator)
{
    const double sum = static_cast<double>(generator()) + static_cast<double>(generator());
    return sum / c_GeneratorRange - 1;
}

/// Whether a random number is in the share of all.
bool IsIn(double share, double number) { return number < share * c_GeneratorRange; }

/// A number that looks random, from two others (the finaliser of a hash).
std::uint32_t Mixed(std::uint32_t seed, std::uint32_t number)
{
    std::uint32_t mixed = seed * 0x9E3779B1U ^ number;
    for (const std::uint32_t factor : {0x85EBCA6BU, 0xC2B2AE35U}) {
        mixed = (mixed ^ mixed >> 16) * factor;
    }
    return mixed ^ mixed >> 16;
}

/// The last samples of a block.
std::span<std::uint16_t> End(std::span<std::uint16_t> samples, double share)
{
    return samples.last(static_cast<std::size_t>(std::lround(share * static_cast<double>(samples.size()))));
}
} // namespace

std::span<const DefectKind_T> DefectKinds() { return c_DefectKinds; }

UnitTraits_T TraitsOf(const SceneUnit_T& unit)
{
    UnitTraits_T traits;
    if (unit.seed) {
        std::mt19937 generator(*unit.seed);
        traits.gain = Amplitude(c_LevelVariation * Variation(generator));
        traits.noise = Amplitude(c_LevelVariation * Variation(generator));
        traits.ringing = 1 + c_RingingVariation * Variation(generator);
        traits.clock = 1 + c_ClockVariation * Variation(generator);
    }
    for (const Defect_T& defect : unit.defects) {
        defect.kind->apply(traits, defect.severity);
    }
    return traits;
}

void Convert(const UnitTraits_T& unit, std::uint32_t seed, std::mt19937& generator,
             std::span<std::uint16_t> samples, unsigned int bits)
{
    const std::uint32_t fullScale = (1U << bits) - 1;
    const auto offset = static_cast<std::uint32_t>(std::lround(unit.offset * fullScale));
    // An 8-bit sample is about the root of a 16-bit one, and has half its bits.
    const auto width = [bits](std::uint16_t mask) {
        std::uint32_t narrow = 0;
        for (unsigned int bit = 0; bit < 16; ++bit) {
            narrow |= (mask >> bit & 1U) << bit * bits / 16;
        }
        return narrow;
    };
    const std::uint32_t high = width(unit.stuckHigh), low = width(unit.stuckLow);
    for (std::uint16_t& sample : samples) {
        std::uint32_t code = std::min(sample + offset, fullScale);
        while (code > 0 && IsIn(unit.missingCodes, Mixed(seed, code))) {
            --code;
        }
        code = (code | high) & ~low;
        sample = static_cast<std::uint16_t>(
            unit.dropouts > 0 && IsIn(unit.dropouts, static_cast<double>(generator())) ? 0 : code);
    }
    const std::uint16_t half = static_cast<std::uint16_t>(fullScale / 2);
    std::ranges::fill(End(samples, unit.zeros), std::uint16_t{0});
    std::ranges::fill(End(samples, unit.constant), half);
    std::ranges::generate(End(samples, unit.onlyConverter),
                          [&] { return static_cast<std::uint16_t>(generator() % 4); });
}
