#include "simulator/models/Echo.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace
{
constexpr double c_SpeedOfSound = 1500; // metres a second
constexpr double c_SourceLevel = 146;   // dB over one sample unit, at 1 m
constexpr double c_SurfaceLoss = 3;     // dB of the reflection between first and second bottom echo
constexpr double c_RingDecay = 0.25e-3; // seconds
constexpr double c_FullScale = 65535;
constexpr double c_RingPeak = 4 * c_FullScale;
constexpr double c_GeneratorRange = 4294967296.0;

/// The beam's half angle, as offset over depth, at which a target is 6 dB weaker both ways.
constexpr double c_BeamSlope = 0.18;
constexpr double c_BeamEdgeLoss = 6;

/// The decay of a bottom's tail: metres of water for the softest bottom, and how much a hard one adds.
constexpr double c_SoftTail = 0.4;
constexpr double c_HardTail = 2.0;
constexpr double c_SoftestBottom = -60;
constexpr double c_BottomRoughness = 0.6;

/// Where an echo is cut off, in units of its decay. Full scale has fallen below one sample unit by then.
constexpr double c_DecaysKept = 12;

/// Absorption of sea water, dB a metre (Thorp), by frequency in Hz.
double Absorption(double frequency)
{
    const double squared = frequency / 1000 * (frequency / 1000);
    return (0.11 * squared / (1 + squared) + 44 * squared / (4100 + squared) + 2.75e-4 * squared + 0.003) /
           1000;
}
} // namespace

CEcho::CEcho(Scene_T scene) : m_Scene(std::move(scene)), m_Generator(m_Scene.seed) {}

std::vector<std::uint16_t> CEcho::Ping(const EchoSettings_T& settings)
{
    m_Interval = settings.interval;
    m_Absorption = Absorption(settings.frequency);
    m_Signal.assign(settings.samples, 0);
    if (settings.pulse > 0) {
        AddTransmit(settings);
        std::ranges::for_each(m_Scene.fish, [this](const Fish_T& fish) { AddFish(fish); });
        AddBottoms();
    }
    ++m_Ping;

    std::vector<std::uint16_t> samples;
    samples.reserve(m_Signal.size());
    for (const double signal : m_Signal) {
        const double inPhase = signal + m_Scene.noise * Gaussian();
        const double quadrature = m_Scene.noise * Gaussian();
        const double magnitude = std::sqrt(inPhase * inPhase + quadrature * quadrature);
        samples.push_back(static_cast<std::uint16_t>(std::min(std::floor(magnitude + 0.5), c_FullScale)));
    }
    return samples;
}

void CEcho::AddTransmit(const EchoSettings_T& settings)
{
    for (std::size_t i = 0; i < m_Signal.size(); ++i) {
        const double silence = std::max(static_cast<double>(i) * m_Interval - settings.pulse, 0.0);
        m_Signal[i] += c_RingPeak * std::exp(-silence / c_RingDecay);
    }
}

void CEcho::AddTarget(double range, double level, const Shape_T& shape)
{
    const double arrival = 2 * range / c_SpeedOfSound;
    const double loss = 40 * std::log10(range) + 2 * m_Absorption * range;
    const double amplitude = std::pow(10, (c_SourceLevel + level - loss) / 20);
    const auto first = static_cast<std::size_t>(std::max((arrival - shape.attack) / m_Interval, 0.0));
    const auto last = static_cast<std::size_t>((arrival + c_DecaysKept * shape.decay) / m_Interval);
    for (std::size_t i = first; i < std::min(last, m_Signal.size()); ++i) {
        const double since = static_cast<double>(i) * m_Interval - arrival;
        if (since < 0) {
            m_Signal[i] += amplitude * std::max(1 + since / shape.attack, 0.0);
        } else {
            // The front is one reflection; later samples are sums of more and more of them.
            const double roughness = shape.roughness * std::min(since / shape.decay, 1.0);
            m_Signal[i] += amplitude * std::exp(-since / shape.decay) * (1 - roughness * Uniform());
        }
    }
}

void CEcho::AddFish(const Fish_T& fish)
{
    const double offset = fish.offset + m_Ping * fish.drift;
    const double slope = offset / fish.depth / c_BeamSlope;
    // As short as the samples can show.
    AddTarget(std::hypot(fish.depth, offset), fish.strength - c_BeamEdgeLoss * slope * slope,
              {.attack = 2 * m_Interval, .decay = m_Interval});
}

void CEcho::AddBottoms()
{
    const double hardness = 1 - m_Scene.bottomStrength / c_SoftestBottom;
    const double tail = 2 * (c_SoftTail + c_HardTail * hardness) / c_SpeedOfSound;
    const Shape_T shape{.attack = 2 * m_Interval, .decay = tail, .roughness = c_BottomRoughness};
    AddTarget(m_Scene.bottomDepth, m_Scene.bottomStrength, shape);
    AddTarget(2 * m_Scene.bottomDepth, 2 * m_Scene.bottomStrength - c_SurfaceLoss, shape);
}

double CEcho::Uniform() { return static_cast<double>(m_Generator()) / c_GeneratorRange; }

double CEcho::Gaussian()
{
    // The sum of two uniform numbers of 16 bits has a triangular distribution, with a variance of one sixth.
    // That is close enough to a normal one.
    const std::uint32_t both = static_cast<std::uint32_t>(m_Generator());
    const double sum = static_cast<double>((both >> 16) + (both & 0xFFFF)) / 65535 - 1;
    return sum * std::sqrt(6.0);
}

std::uint8_t ByteSample(std::uint16_t sample)
{
    constexpr double c_ByteFullScale = 255;
    return static_cast<std::uint8_t>(std::lround(c_ByteFullScale * std::sqrt(sample / c_FullScale)));
}
