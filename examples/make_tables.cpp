// Writes the example table files. Each is a configuration log, as the sonar application saves it, for one
// ping. The numbers are calculated from the ping's physics below, so another ping is one more row.

#include "sonar/TableFile.h"

#include <cmath>
#include <cstdio>
#include <numbers>
#include <string_view>
#include <vector>

namespace
{
constexpr double c_SoundSpeed = 1500.0; // metres a second
constexpr double c_ChirpClock = 1.0e6;  // transmit table entries a second
constexpr double c_AmplitudeFull = 1023.0;
constexpr double c_CoefficientFull = 8191.0;
constexpr int c_PhaseTurn = 65536;

struct Ping_T {
    std::string_view name;
    int channelFilter;      // register byte: element and receive band
    double centreFrequency; // hertz
    double bandwidth;       // hertz swept during the pulse; 0 is a tone
    double taper;           // part of the pulse that rises and falls; with 1 the pulse is a bell
    int chirpEntries;
    int filterDivisor; // transmit entries per sample that enters the correlation filter
    int subSampleRate; // filtered samples per kept sample
    int samples;       // kept, a multiple of 16
    int gainEntries;   // spread evenly over the ping's range
    double spreading;  // dB per tenfold range: 20 for a flat bottom, 40 for a fish
    double absorption; // dB per metre, one way
    int subSampleThreshold;
    int boostLevel;
};

constexpr Ping_T c_Pings[] = {
    // For fine detail in shallow water: 13 cycles of 200 kHz on element 1, HF band.
    {.name = "short",
     .channelFilter = 222,
     .centreFrequency = 200e3,
     .bandwidth = 0,
     .taper = 1,
     .chirpEntries = 64,
     .filterDivisor = 4,
     .subSampleRate = 8,
     .samples = 1024,
     .gainEntries = 64,
     .spreading = 20,
     .absorption = 0.05,
     .subSampleThreshold = 300,
     .boostLevel = 1},
    // For long range: a long sweep from 40 to 60 kHz on element 0, LF band; full gain and filter tables.
    {.name = "full",
     .channelFilter = 245,
     .centreFrequency = 50e3,
     .bandwidth = 20e3,
     .taper = 0.1,
     .chirpEntries = 4096,
     .filterDivisor = 1,
     .subSampleRate = 64,
     .samples = 4096,
     .gainEntries = 1024,
     .spreading = 40,
     .absorption = 0.015,
     .subSampleThreshold = 120,
     .boostLevel = 3},
};

// Nearest integer. The small offset rounds exact halves to the same side with every mathematics library.
int Nearest(double value) { return static_cast<int>(std::floor(value + 0.5 + 1.0e-6)); }

// Cosine-tapered window over 0 to 1: the pulse starts and stops without a click, and its echo has low
// sidelobes.
double Window(double place, double taper)
{
    const double edge = std::fmin(place, 1.0 - place) / (taper / 2.0);
    return edge >= 1.0 ? 1.0 : 0.5 - 0.5 * std::cos(std::numbers::pi * edge);
}

// Centre of one of count equal parts of the range 0 to 1.
double Middle(int index, int count) { return (index + 0.5) / count; }

// Amplitude, and phase advance to the next entry: constant for a tone, growing for a linear sweep.
void WriteChirp(const Ping_T& ping)
{
    std::printf("%s%d\n", TableKeys::c_Chirp.header.data(), ping.chirpEntries);
    for (int entry = 0; entry < ping.chirpEntries; ++entry) {
        const double place = Middle(entry, ping.chirpEntries);
        const double frequency = ping.centreFrequency + ping.bandwidth * (place - 0.5);
        std::printf("0x%04x, 0x%04x\n",
                    static_cast<unsigned int>(Nearest(c_AmplitudeFull * Window(place, ping.taper))),
                    static_cast<unsigned int>(Nearest(c_PhaseTurn * frequency / c_ChirpClock)));
    }
}

// Gain that compensates spreading and absorption on the way out and back: whole 6 dB stages, and the rest in
// 1/16 dB.
void WriteGain(const Ping_T& ping)
{
    constexpr int partsOfDecibel = 16;
    constexpr int stage = 6 * partsOfDecibel;
    const double sampleTime = ping.filterDivisor * ping.subSampleRate / c_ChirpClock;
    const double range = ping.samples * sampleTime * c_SoundSpeed / 2.0;

    std::printf("%s%d\n", TableKeys::c_Tvg.header.data(), ping.gainEntries);
    for (int entry = 0; entry < ping.gainEntries; ++entry) {
        const double metres = std::fmax(1.0, range * Middle(entry, ping.gainEntries));
        const double decibels = ping.spreading * std::log10(metres) + 2.0 * ping.absorption * metres;
        const int gain = Nearest(decibels * partsOfDecibel);
        std::printf("%d, %d\n", gain / stage, gain % stage);
    }
}

struct Coefficient_T {
    int real;
    int imaginary;
};

// Matched filter: the pulse at baseband, reversed and conjugated, so that all parts of an echo add up at one
// place. For a tone it is only the bell of the window.
std::vector<Coefficient_T> MatchedFilter(const Ping_T& ping)
{
    const int length = ping.chirpEntries / ping.filterDivisor;
    const double duration = ping.chirpEntries / c_ChirpClock;
    std::vector<Coefficient_T> filter;
    for (int tap = 0; tap < length; ++tap) {
        const double place = 1.0 - Middle(tap, length);
        const double amplitude = c_CoefficientFull * Window(place, ping.taper);
        // The sweep's phase is the integral of its distance from the centre frequency.
        const double phase = std::numbers::pi * ping.bandwidth * duration * place * (place - 1.0);
        filter.push_back({Nearest(amplitude * std::cos(phase)), Nearest(-amplitude * std::sin(phase))});
    }
    return filter;
}

// Bits by which the filter's sum is shifted down, so that a perfect echo does not overflow the sample.
int DownShift(const std::vector<Coefficient_T>& filter)
{
    double gain = 0;
    for (const Coefficient_T& tap : filter) {
        gain += std::hypot(tap.real, tap.imaginary);
    }
    return static_cast<int>(std::ceil(std::log2(gain)));
}

void WriteValue(std::string_view key, int value) { std::printf("%s %d);\n", key.data(), value); }

void WriteLog(const Ping_T& ping)
{
    using namespace TableKeys;
    constexpr int scaling = 1;
    WriteValue(c_ChannelFilter.start, ping.channelFilter);
    WriteValue("FpgaInterface->SetADCFrequencyRegister(", 2);
    WriteValue(c_NumberOfSamples.start, ping.samples);
    WriteValue(c_SubSampleRate.start, ping.subSampleRate);
    WriteValue("FpgaInterface->SetSubSampleMode(", 2);
    WriteValue(c_SubSampleThreshold.start, ping.subSampleThreshold);
    WriteValue(c_BoostLevel.start, ping.boostLevel);
    WriteChirp(ping);
    WriteGain(ping);
    WriteValue(c_FilterSubSampleDivisor.start, ping.filterDivisor);
    WriteValue(c_FilterSelection.start, 1);
    WriteValue(c_FilterScaling.start, 3);
    WriteValue(c_FilterCentreFrequency.start, Nearest(ping.centreFrequency / 100));

    const std::vector<Coefficient_T> filter = MatchedFilter(ping);
    std::printf("%s%zu\n", c_Correlation.header.data(), filter.size());
    for (const Coefficient_T& tap : filter) {
        std::printf("%d, %d\n", tap.real, tap.imaginary);
    }
    WriteValue(c_CorrelationDownShift.start, DownShift(filter));
    // Twice, as the application logs it; the program reads the second, indented line.
    WriteValue(c_CorrelationScaling.start.substr(2), scaling);
    std::printf("%s %d%s\n", c_CorrelationScaling.start.data(), scaling, c_CorrelationScaling.end.data());
}
} // namespace

int main(int argc, char* argv[])
{
    for (const Ping_T& ping : c_Pings) {
        if (argc == 2 && ping.name == argv[1]) {
            WriteLog(ping);
            return 0;
        }
    }
    std::fputs("Writes an example table file to standard output.\nUsage: sonarbench-make-tables short|full\n",
               stderr);
    return 2;
}
