#include "simulator/models/Reception.h"

#include <gmock/gmock.h>

#include <cmath>
#include <numbers>

using namespace testing;

namespace
{
double Decibels(double gain) { return 20 * std::log10(gain); }

/// A pulse of so many entries, which sweeps by so many turns.
Wave_T Sweep(std::size_t entries, double turns)
{
    Wave_T wave(entries);
    for (std::size_t i = 0; i < entries; ++i) {
        const double place = static_cast<double>(i) / static_cast<double>(entries) - 0.5;
        wave[i] = std::polar(1.0, std::numbers::pi * turns * place * place);
    }
    return wave;
}

Wave_T Conjugate(Wave_T wave)
{
    for (std::complex<double>& value : wave) {
        value = std::conj(value);
    }
    return wave;
}
} // namespace

TEST(Reception, ABandLoses3DecibelsAtItsEdgesAndAtMost40)
{
    EXPECT_EQ(BandGain(200e3, 200e3, 40e3), 1);
    EXPECT_NEAR(Decibels(BandGain(180e3, 200e3, 40e3)), -3, 1e-9);
    EXPECT_NEAR(Decibels(BandGain(240e3, 200e3, 40e3)), -12, 1e-9);
    EXPECT_NEAR(Decibels(BandGain(0, 200e3, 40e3)), -40, 1e-9);
}

TEST(Reception, AFilterThatMatchesGivesAllAndAnotherOneLess)
{
    const Wave_T pulse = Sweep(400, 40);
    const FilterMatch_T matched = MatchOf(Conjugate(pulse), pulse);
    EXPECT_NEAR(matched.sum, 400, 1e-9);
    EXPECT_NEAR(matched.level, 1, 1e-9);
    EXPECT_NEAR(matched.coherence, 1, 1e-9);

    const FilterMatch_T mirrored = MatchOf(pulse, pulse);
    EXPECT_LT(mirrored.coherence, 0.3);
    EXPECT_EQ(mirrored.level, mirrored.coherence) << "each entry has the full amplitude";

    Wave_T half = pulse;
    std::fill_n(half.begin(), 200, 0);
    EXPECT_NEAR(MatchOf(Conjugate(pulse), half).level, 0.5, 1e-9) << "half of the pulse is missing";
    EXPECT_NEAR(MatchOf(Conjugate(pulse), half).coherence, 1, 1e-9);
    EXPECT_NEAR(MatchOf(Conjugate(half), pulse).sum, 200, 1e-9) << "half of the filter is missing";

    EXPECT_EQ(MatchOf({}, pulse).level, 0);
    EXPECT_EQ(MatchOf(pulse, {}).coherence, 0);
}

TEST(Reception, TablesAreReadAsTheirEntriesMean)
{
    EXPECT_THAT(ReadTaps(Bytes_T{0xF4, 0xFF, 7, 0, 5, 0, 0xFD, 0xFF, 0, 0, 0, 0}),
                ElementsAre(std::complex<double>(-12, 7), std::complex<double>(5, -3)));
    const auto gains = ReadGains(Bytes_T{0, 0, 1, 0, 3, 32});
    ASSERT_EQ(gains.size(), 3U);
    EXPECT_EQ(gains[0], 1);
    EXPECT_NEAR(Decibels(gains[1]), 6, 1e-9);
    EXPECT_NEAR(Decibels(gains[2]), 20, 1e-9);
    EXPECT_EQ(BoostGain(91, 91), 1);
    EXPECT_EQ(BoostGain(0, 3), 0.25);
}
