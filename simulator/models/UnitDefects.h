#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <vector>

/// How many numbers std::mt19937 draws from.
inline constexpr double c_GeneratorRange = 4294967296.0;

/// How the hardware of a unit differs from a nominal one. Factors are of amplitudes, unless they say
/// otherwise.
struct UnitTraits_T {
    double gain = 1;      ///< of the receiver: all that it hears, and its noise
    double noise = 1;     ///< of the receiver's noise
    double transmit = 1;  ///< of the transmitter: the ring-down and the echoes
    double echoes = 1;    ///< of the echoes
    double ringDown = 1;  ///< of the ring-down
    double ringing = 1;   ///< of the time in which the ring-down falls
    double frequency = 1; ///< of the frequency that is transmitted
    double clock = 1;     ///< of the rate at which samples are taken

    double interference = 0;                           ///< highest amplitude, in units of a 16-bit sample
    double offset = 0;                                 ///< of each sample, share of full scale
    double missingCodes = 0;                           ///< share of the codes
    double dropouts = 0;                               ///< share of the samples
    double stale = 0;                                  ///< share of the block, at its end
    std::uint16_t stuckHigh = 0, stuckLow = 0;         ///< bits of a 16-bit sample
    double zeros = 0, constant = 0, onlyConverter = 0; ///< share of the block, at its end
};

/// A kind of defect, and what a severity does to a unit. docs/scene.md describes each.
struct DefectKind_T {
    const char* name;
    double low; ///< of the severities
    double high;
    void (*apply)(UnitTraits_T& unit, double severity);
    bool isWhole = false; ///< whether a severity must be a whole number
};

/// All kinds of defects.
std::span<const DefectKind_T> DefectKinds();

/// A defect of a unit.
struct Defect_T {
    const DefectKind_T* kind;
    double severity;
};

/// The unit that hears a scene.
struct SceneUnit_T {
    std::optional<std::uint32_t> seed = {}; ///< of what varies between good units; none: a nominal unit
    double interferenceFrequency = 1000;    ///< Hz, 1 to 10000
    std::vector<Defect_T> defects = {};
};

/// What the unit's hardware does.
UnitTraits_T TraitsOf(const SceneUnit_T& unit);

/// Makes the samples that a nominal converter gives those of the unit's.
/// @param seed       of the unit; it determines the missing codes
/// @param generator  of the samples that are lost, and of the converter's own noise
/// @param bits       8 or 16
void Convert(const UnitTraits_T& unit, std::uint32_t seed, std::mt19937& generator,
             std::span<std::uint16_t> samples, unsigned int bits);
