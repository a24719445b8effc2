#include "simulator/models/Echo.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>

using namespace testing;

namespace
{
using Samples_T = std::vector<std::uint16_t>;

constexpr std::size_t c_Bottom = 400; ///< sample of the bottom's front
constexpr double c_Interval = 20 / 750.0 / c_Bottom;

/// A scene with a bottom at 20 m and no fish, heard by a unit. The seed differs from that of the default
/// scene.
Samples_T Ping(const SceneUnit_T& unit, unsigned int bits, std::uint32_t seed = 5)
{
    CEcho echo({.fish = {}, .seed = seed, .unit = unit});
    return echo.Ping(
        {.interval = c_Interval, .samples = 1000, .frequency = 200e3, .pulse = 100e-6, .bits = bits});
}

SceneUnit_T With(const char* kind, double severity, std::optional<std::uint32_t> seed = {})
{
    const auto row = std::ranges::find(DefectKinds(), std::string_view(kind), &DefectKind_T::name);
    return {.seed = seed, .defects = {{&*row, severity}}};
}

/// What a test station could measure in a ping, on the scale of 16 bits.
struct Measured_T {
    double pulse, noise, bottom; ///< level: first sample, median before the bottom, highest of the bottom
    std::size_t ringDown;        ///< samples
    std::size_t front;           ///< of the bottom
};

Measured_T Measure(const Samples_T& samples, unsigned int bits)
{
    std::vector<double> levels;
    for (const std::uint16_t sample : samples) {
        levels.push_back(bits == 8 ? sample * sample * 65535.0 / (255 * 255) : sample);
    }
    const auto quiet = levels.begin() + 200;
    const auto peak = std::max_element(levels.begin() + 300, levels.begin() + 700);
    const auto front =
        std::find_if(levels.begin() + 300, levels.end(), [&](double level) { return level > 0.7 * *peak; });
    const auto silence = std::ranges::find_if(levels, [](double level) { return level < 3000; });
    Measured_T measured{levels.front(), 0, *peak, static_cast<std::size_t>(silence - levels.begin()),
                        static_cast<std::size_t>(front - levels.begin())};
    std::nth_element(quiet, quiet + 75, quiet + 150);
    measured.noise = quiet[75];
    return measured;
}

double Decibels(double level, double reference) { return 20 * std::log10(level / reference); }
} // namespace

TEST(UnitDefects, LevelsChangeByTheSeverityInBothWidths)
{
    struct Row_T {
        const char* kind;
        double severity;
        double pulse, noise, bottom; ///< expected changes, dB
    };
    const Row_T rows[] = {
        {"deaf", 20, -8, -20, -20}, // the pulse was 12 dB above full scale
        {"deaf", 0, 0, 0, 0},
        {"noisy", 10, 0, 10, 0},
        {"clipping", 6, 0, 6, 6},
        {"weakTransmitter", 18, -6, 0, -18},
        {"noTransducer", 0.9, 0, 0, -20},
        {"swappedChannels", 0.9, -7.7, 0, -18},
    };
    for (const unsigned int bits : {16U, 8U}) {
        const Measured_T good = Measure(Ping({}, bits), bits);
        for (const Row_T& row : rows) {
            const Measured_T bad = Measure(Ping(With(row.kind, row.severity), bits), bits);
            const std::string where = std::string(row.kind) + ", " + std::to_string(bits) + " bits";
            EXPECT_NEAR(Decibels(bad.pulse, good.pulse), row.pulse, 0.6) << where;
            EXPECT_NEAR(Decibels(bad.noise, good.noise), row.noise, bits == 8 ? 2.5 : 0.6) << where;
            EXPECT_NEAR(Decibels(bad.bottom, good.bottom), row.bottom, 0.6) << where;
        }
    }
}

TEST(UnitDefects, FrequencyAndTimesChangeByTheSeverity)
{
    EXPECT_EQ(TraitsOf(With("wrongFrequency", -0.25)).frequency, 0.75); // its effect: EchoRunTest.cpp
    const Measured_T good = Measure(Ping({}, 16), 16);
    EXPECT_NEAR(static_cast<double>(good.front), c_Bottom, 2);
    EXPECT_NEAR(static_cast<double>(Measure(Ping(With("wrongClock", 0.25), 16), 16).front), 1.25 * c_Bottom,
                2);
    EXPECT_NEAR(static_cast<double>(Measure(Ping(With("longRinging", 1), 16), 16).ringDown),
                2.0 * static_cast<double>(good.ringDown), 4);
}

TEST(UnitDefects, TheConverterLosesWhatTheSeveritySays)
{
    for (const unsigned int bits : {16U, 8U}) {
        const auto bad = [&](const char* kind, double severity) { return Ping(With(kind, severity), bits); };
        const Samples_T good = Ping({}, bits);
        const std::uint16_t fullScale = bits == 8 ? 255 : 65535;

        const Samples_T end(good.begin(), good.begin() + 500);
        for (const auto& [kind, highest] :
             {std::pair("deadZeros", 0), {"deadNoise", 3}, {"deadConstant", fullScale / 2}}) {
            const Samples_T half = bad(kind, 0.5);
            EXPECT_TRUE(std::equal(end.begin(), end.end(), half.begin())) << kind;
            EXPECT_EQ(*std::max_element(half.begin() + 500, half.end()), highest) << kind;
        }
        const Samples_T high = bad("stuckHigh", 11), low = bad("stuckLow", 16);
        const std::uint16_t bit = bits == 8 ? 0x20 : 0x400, top = bits == 8 ? 0x80 : 0x8000;
        for (std::size_t i = 0; i < good.size(); ++i) {
            ASSERT_EQ(high[i], good[i] | bit) << i;
            ASSERT_EQ(low[i], good[i] & ~top) << i;
        }
        EXPECT_NEAR(static_cast<double>(std::ranges::count(bad("dropouts", 0.3), 0)) -
                        static_cast<double>(std::ranges::count(good, 0)),
                    300, 60);
        const auto different = [](const Samples_T& samples) {
            return static_cast<double>(std::set(samples.begin(), samples.end()).size());
        };
        EXPECT_LT(different(bad("missingCodes", 0.9)), 0.6 * different(good));
        const Samples_T shifted = bad("offset", 0.1);
        for (std::size_t i = 0; i < good.size(); ++i) {
            ASSERT_EQ(shifted[i], std::min<long>(good[i] + std::lround(0.1 * fullScale), fullScale)) << i;
        }
    }
}

TEST(UnitDefects, InterferenceHasItsFrequency)
{
    SceneUnit_T unit = With("interference", 66); // 2000 units
    unit.interferenceFrequency = 1 / (50 * c_Interval);
    const Samples_T samples = Ping(unit, 16);
    for (const std::size_t period : {4U, 5U, 6U}) {
        EXPECT_GT(samples[50 * period], 1800U);
        EXPECT_LT(samples[50 * period + 25], 300U);
    }
}

TEST(UnitDefects, StaleSamplesAreTheSameInEachRunOfAUnit)
{
    const auto run = [](std::uint32_t unit, std::uint32_t seed) {
        return Ping(With("staleSamples", 0.25, unit), 8, seed);
    };
    const Samples_T first = run(7, 1), second = run(7, 2), other = run(8, 1);
    EXPECT_TRUE(std::equal(first.begin() + 750, first.end(), second.begin() + 750));
    EXPECT_FALSE(std::equal(first.begin() + 500, first.begin() + 750, second.begin() + 500));
    EXPECT_FALSE(std::equal(first.begin() + 750, first.end(), other.begin() + 750));
}

TEST(UnitDefects, GoodUnitsVaryWithinTheirLimitsAndDependOnTheSeedAlone)
{
    double least = 1, most = 1;
    for (std::uint32_t seed = 0; seed < 500; ++seed) {
        const UnitTraits_T traits = TraitsOf({.seed = seed});
        for (const double factor : {traits.gain, traits.noise}) {
            EXPECT_LE(std::abs(Decibels(factor, 1)), 1);
            least = std::min(least, factor);
            most = std::max(most, factor);
        }
        EXPECT_NEAR(traits.ringing, 1, 0.05);
        EXPECT_NEAR(traits.clock, 1, 100e-6);
    }
    EXPECT_LT(Decibels(least, 1), -0.8);
    EXPECT_GT(Decibels(most, 1), 0.8);
    EXPECT_EQ(Ping({.seed = 3}, 8), Ping({.seed = 3}, 8));
    EXPECT_NE(Ping({.seed = 3}, 16), Ping({.seed = 4}, 16));
}
