#pragma once

#include <functional>
#include <optional>
#include <string>

/// The largest sample, as one of 16 bits.
inline constexpr double c_FullScale = 65535;

/// What a scene, a unit and the settings put into the samples of one ping, by the formulas of the echo:
/// without noise, without what the converter does, and with levels above full scale. Levels are in units of
/// a 16-bit sample, places are samples and may be between two.
struct EchoTruth_T {
    struct RingDown_T {
        double level; ///< while the pulse lasts
        double pulse; ///< samples that the pulse lasts
        double decay; ///< samples in which the level falls by the factor e
    };
    struct Bottom_T {
        double range; ///< metres
        double front; ///< its place
        double level; ///< of the front
    };
    unsigned int ping = 0; ///< of this FPGA, from 1
    unsigned int channel = 0;
    std::size_t samples = 0;
    unsigned int bits = 16;
    double interval = 0; ///< seconds from one sample to the next, as the unit's clock has it
    double noise = 0;    ///< root mean square of each part of the noise
    std::optional<RingDown_T> ringDown = {}; ///< none: nothing was transmitted
    std::optional<Bottom_T> bottom = {};     ///< none: not in these samples
};

/// Takes the truth of each ping.
using TruthSink_T = std::function<void(const EchoTruth_T&)>;

/// The truth as a JSON object in one line; docs/scene.md describes it.
std::string TruthLine(const EchoTruth_T& truth);
