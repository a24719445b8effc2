#include "simulator/models/Echo.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace
{
constexpr double c_SpeedOfSound = 1500; // metres a second
constexpr double c_SourceLevel = 146;   // dB over one sample unit, at 1 m
constexpr double c_SurfaceLoss = 3;     // dB of the reflection between first and second bottom echo
constexpr double c_RingDecay = 0.25e-3; // seconds
constexpr double c_RingPeak = 4 * c_FullScale;

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

/// A sample of 8 bits.
std::uint16_t ByteSample(std::uint16_t sample)
{
    constexpr double c_ByteFullScale = 255;
    return static_cast<std::uint16_t>(std::lround(c_ByteFullScale * std::sqrt(sample / c_FullScale)));
}
} // namespace

CEcho::CEcho(Scene_T scene, TruthSink_T sink)
    : m_Scene(std::move(scene)), m_Unit(TraitsOf(m_Scene.unit)), m_Generator(m_Scene.seed),
      m_ConverterGenerator(m_Scene.seed ^ ~m_Scene.unit.seed.value_or(0)), m_Sink(std::move(sink))
{
}

std::vector<std::uint16_t> CEcho::Ping(const EchoSettings_T& settings)
{
    m_Interval = settings.interval;
    m_TrueInterval = settings.interval / m_Unit.clock;
    m_Start = settings.start;
    m_Absorption = Absorption(settings.frequency);
    m_Signal.assign(settings.samples, 0);
    const double noise = m_Unit.gain * m_Unit.noise * m_Scene.noise * settings.noise * settings.all;
    m_Truth = {.ping = m_Ping + 1,
               .channel = settings.channel,
               .samples = settings.samples,
               .bits = settings.bits,
               .interval = m_TrueInterval,
               .noise = noise};
    if (settings.pulse > 0) {
        for (const Fish_T& fish : m_Scene.fish) {
            AddFish(fish, settings.spread);
        }
        AddBottoms(settings.spread);
        Amplify(settings);
        AddTransmit(settings);
    }
    ++m_Ping;
    if (m_Sink) {
        m_Sink(m_Truth);
    }

    std::vector<std::uint16_t> samples;
    samples.reserve(m_Signal.size());
    for (std::size_t i = 0; i < m_Signal.size(); ++i) {
        const double inPhase = m_Unit.gain * m_Signal[i] + Interference(i) + noise * Gaussian();
        const double quadrature = noise * Gaussian();
        const double magnitude = std::sqrt(inPhase * inPhase + quadrature * quadrature);
        const auto level = static_cast<std::uint16_t>(std::min(std::floor(magnitude + 0.5), c_FullScale));
        samples.push_back(settings.bits == 8 ? ByteSample(level) : level);
    }
    Convert(m_Unit, m_Scene.unit.seed.value_or(0), m_ConverterGenerator, samples, settings.bits);
    if (m_Unit.stale > 0) {
        AddStale(settings, samples);
    }
    return samples;
}

/// Puts the end of a block of the default scene, which only depends on the unit, over the end of this one.
void CEcho::AddStale(const EchoSettings_T& settings, std::vector<std::uint16_t>& samples) const
{
    CEcho earlier({.seed = m_Scene.unit.seed.value_or(0), .unit = m_Scene.unit});
    earlier.m_Unit.stale = 0;
    const auto old = earlier.Ping(settings);
    const auto fresh = std::lround((1 - m_Unit.stale) * static_cast<double>(samples.size()));
    std::copy(old.begin() + fresh, old.end(), samples.begin() + fresh);
}

double CEcho::Interference(std::size_t sample) const
{
    const double turns = static_cast<double>(sample) * m_TrueInterval * m_Scene.unit.interferenceFrequency;
    return m_Unit.interference > 0
               ? m_Unit.interference * (0.5 + 0.5 * std::cos(2 * std::numbers::pi * turns))
               : 0;
}

void CEcho::AddTransmit(const EchoSettings_T& settings)
{
    const double peak = m_Unit.transmit * m_Unit.ringDown * c_RingPeak * settings.transmit * settings.all;
    const double decay = m_Unit.ringing * c_RingDecay;
    m_Truth.ringDown = {m_Unit.gain * peak, (settings.pulse - m_Start) / m_TrueInterval,
                        decay / m_TrueInterval};
    for (std::size_t i = 0; i < m_Signal.size(); ++i) {
        const double silence = std::max(TimeOf(i) - settings.pulse, 0.0);
        m_Signal[i] += peak * std::exp(-silence / decay);
    }
}

double CEcho::AddTarget(double range, double level, const Shape_T& shape)
{
    const double arrival = 2 * range / c_SpeedOfSound;
    const double loss = 40 * std::log10(range) + 2 * m_Absorption * range;
    const double amplitude = std::pow(10, (c_SourceLevel + level - loss) / 20);
    const auto first =
        static_cast<std::size_t>(std::max((arrival - shape.attack - m_Start) / m_TrueInterval, 0.0));
    const auto last = static_cast<std::size_t>(
        std::max((arrival + c_DecaysKept * shape.decay - m_Start) / m_TrueInterval, 0.0));
    for (std::size_t i = first; i < std::min(last, m_Signal.size()); ++i) {
        const double since = TimeOf(i) - arrival;
        if (since < 0) {
            m_Signal[i] += amplitude * std::max(1 + since / shape.attack, 0.0);
        } else {
            // The front is one reflection; later samples are sums of more and more of them.
            const double roughness = shape.roughness * std::min(since / shape.decay, 1.0);
            m_Signal[i] += amplitude * std::exp(-since / shape.decay) * (1 - roughness * Uniform());
        }
    }
    return amplitude;
}

void CEcho::AddFish(const Fish_T& fish, double spread)
{
    const double offset = fish.offset + m_Ping * fish.drift;
    const double slope = offset / fish.depth / c_BeamSlope;
    // As short as the samples can show.
    AddTarget(std::hypot(fish.depth, offset), fish.strength - c_BeamEdgeLoss * slope * slope,
              {.attack = 2 * m_TrueInterval, .decay = m_TrueInterval + spread});
}

void CEcho::AddBottoms(double spread)
{
    if (!m_Scene.bottom) {
        return;
    }
    const auto& [depth, strength] = *m_Scene.bottom;
    const double hardness = 1 - strength / c_SoftestBottom;
    const double tail = 2 * (c_SoftTail + c_HardTail * hardness) / c_SpeedOfSound;
    const Shape_T shape{.attack = 2 * m_TrueInterval, .decay = tail + spread, .roughness = c_BottomRoughness};
    const double front = (2 * depth / c_SpeedOfSound - m_Start) / m_TrueInterval;
    const double level = AddTarget(depth, strength, shape);
    if (front >= 0 && front < static_cast<double>(m_Signal.size())) {
        m_Truth.bottom = {depth, front, level};
    }
    AddTarget(2 * depth, 2 * strength - c_SurfaceLoss, shape);
}

/// Gives the echoes the gains of the settings and of the unit, except that of the whole receiver.
void CEcho::Amplify(const EchoSettings_T& settings)
{
    const double constant =
        m_Unit.transmit * m_Unit.echoes * settings.transmit * settings.echoes * settings.all;
    const auto gain = [&](std::size_t sample) {
        const std::size_t entry = sample * settings.gains.size() / m_Signal.size();
        return constant * (settings.gains.empty() ? 1 : settings.gains[entry]);
    };
    for (std::size_t i = 0; i < m_Signal.size(); ++i) {
        m_Signal[i] *= gain(i);
    }
    if (auto& bottom = m_Truth.bottom) {
        bottom->level *= m_Unit.gain * gain(static_cast<std::size_t>(bottom->front));
    }
}

double CEcho::TimeOf(std::size_t sample) const
{
    return m_Start + static_cast<double>(sample) * m_TrueInterval;
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
