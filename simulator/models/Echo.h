#pragma once

#include "simulator/models/EchoTruth.h"
#include "simulator/models/Scene.h"

#include <cstdint>
#include <random>
#include <vector>

/// A ping and how its echoes are received. Each FPGA has its own registers for it. Gains are factors of
/// amplitudes.
struct EchoSettings_T {
    double interval = 0;            ///< seconds from one sample to the next
    std::size_t samples = 0;        ///< samples to take
    double start = 0;               ///< seconds from the beginning of the pulse to the first sample
    double frequency = 0;           ///< of the transmitted pulse, Hz
    double pulse = 0;               ///< seconds that the pulse lasts; 0: nothing is transmitted
    double transmit = 1;            ///< gain of the ring-down and the echoes
    double echoes = 1;              ///< gain of the echoes
    double noise = 1;               ///< gain of the noise
    double all = 1;                 ///< gain of ring-down, echoes and noise
    double spread = 0;              ///< seconds that an echo takes longer to fall
    std::vector<double> gains = {}; ///< of the echoes, spread evenly over the samples; none: 1
    unsigned int bits = 16;         ///< of a sample, 8 or 16
    unsigned int channel = 0;       ///< or element
};

/// The water below the transducer: what a ping brings back from a scene, as envelope samples.
///
/// An echo from range r arrives after 2r / 1500 m/s at a level of 146 dB + strength - 40 log10(r) - 2 a r, in
/// dB over one sample unit, where a is the absorption of sea water after Thorp. The gains of the settings add
/// to that.
///
/// Transmit ring-down: four times full scale while the pulse lasts, then falling by e every 0.25 ms; it hides
/// the first two metres.
///
/// Fish: short echoes. The further a fish is from the beam's axis, the weaker and later its echo, so that
/// successive pings draw an arc.
///
/// Bottom: a sharp front at its range and a rough tail. The harder the bottom, the longer the tail.
///
/// Second bottom: the echo that travelled twice, at double the depth, weakened by two reflections at the
/// bottom and one at the surface.
///
/// Receiver noise is added as a complex voltage and the magnitude is clipped to 0 to 65,535. A sample of 8
/// bits is its square root, so that weak echoes show next to strong ones; full scale is 255. Seeded
/// generators make all random numbers, without the library's distributions, so that the samples are the same
/// everywhere.
///
/// The scene's unit changes all of this as its traits say. What the converter does wrong has a generator of
/// its own, so the noise of a nominal unit does not depend on it.
class CEcho
{
public:
    /// @param sink  takes the truth of each ping; may be empty
    explicit CEcho(Scene_T scene, TruthSink_T sink = {});

    /// The samples of the next ping.
    std::vector<std::uint16_t> Ping(const EchoSettings_T& settings);
    /// Seconds from one sample of the last ping to the next, by the settings; 0 when there was none.
    double Interval() const { return m_Interval; }
    const UnitTraits_T& Unit() const { return m_Unit; }

private:
    /// Shape of an echo in time: seconds of rise and decay, and how much weaker random numbers can make the
    /// tail.
    struct Shape_T {
        double attack;
        double decay;
        double roughness = 0;
    };

    void AddTransmit(const EchoSettings_T& settings);
    /// Returns the amplitude of its front.
    double AddTarget(double range, double level, const Shape_T& shape);
    void AddFish(const Fish_T& fish, double spread);
    void AddBottoms(double spread);
    void Amplify(const EchoSettings_T& settings);
    void AddStale(const EchoSettings_T& settings, std::vector<std::uint16_t>& samples) const;
    double Interference(std::size_t sample) const;
    /// Seconds since the beginning of the pulse.
    double TimeOf(std::size_t sample) const;
    double Uniform();
    double Gaussian();

    Scene_T m_Scene;
    UnitTraits_T m_Unit;
    std::mt19937 m_Generator;
    std::mt19937 m_ConverterGenerator;
    TruthSink_T m_Sink;
    EchoTruth_T m_Truth = {};          ///< of this ping
    unsigned int m_Ping = 0;           ///< pings fired before this one
    double m_Interval = 0;             ///< of the last ping, seconds, by the settings
    double m_TrueInterval = 0;         ///< by the unit's clock
    double m_Start = 0;                ///< of this ping's first sample, seconds
    double m_Absorption = 0;           ///< of this ping, dB a metre
    std::vector<double> m_Signal = {}; ///< of this ping, sample units
};
