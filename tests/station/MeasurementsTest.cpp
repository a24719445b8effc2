#include "station/judge/Measurements.h"
#include "tests/station/Runs.h"

#include <gmock/gmock.h>

using namespace testing;

namespace
{
Run_T PingOf(std::vector<std::int32_t> values)
{
    Run_T run;
    run.commandLine = "sonarbench xkping";
    run.samples.taken = 2 * values.size();
    run.samples.values = std::move(values);
    return run;
}

/// A pulse of three samples that falls by half from sample to sample, a noise of 10, 20, 30, 40, and a
/// bottom of 40 samples at 512.
std::vector<std::int32_t> Echo()
{
    std::vector<std::int32_t> values(1024);
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<std::int32_t>(i % 4 + 1) * 10;
    }
    const std::vector<std::int32_t> pulse = {65535, 65535, 65535, 32768, 16384, 8192,
                                             4096,  2048,  1024,  512,   256,   128};
    std::ranges::copy(pulse, values.begin());
    std::fill_n(values.begin() + 512, 40, 1000);
    return values;
}

/// By name; those that are absent are not there.
std::map<std::string, double> Measured(Run_T run, MeasureSettings_T settings = {})
{
    CMeasurer(settings).Measure(run);
    std::map<std::string, double> values;
    for (const Quantity_T& measured : run.measurements) {
        const MeasurementRow_T* const row = MeasurementOf(measured.name);
        EXPECT_STREQ(row->unit, measured.unit) << row->name;
        EXPECT_TRUE(measured.value >= row->least && measured.value <= row->most)
            << row->name << " is " << measured.value;
        values[measured.name] = measured.value;
    }
    return values;
}
} // namespace

TEST(Measurements, AreThoseThatCanBeCalculatedByHand)
{
    const std::map<std::string, double> expected = {
        // The unit took two samples for each printed one.
        {"bottomPosition", 1024},
        {"bottomRange", 1024.0 / 1500 * 1480 / 2},
        {"bottomLevel", 1000},
        {"bottomLevelDecibels", 20 * std::log10(1000 / 65535.0)},
        {"bottomOverNoise", 1000 / 20.5},
        {"bottomOverNoiseDecibels", 20 * std::log10(1000 / 20.5)},
        // Up to 560, where 16 samples are quiet again.
        {"bottomWidth", 2 * (40 * 1000 + 8 * 25 - 48 * 20.5) / (1000 - 20.5)},
        // A quarter of the samples each; half of a value's samples are below it.
        {"noiseFloor", (10.5 + 2 * 20.5 + 30.5) / 4},
        {"noiseFloorDecibels", 20 * std::log10(20.5 / 65535)},
        {"noiseSpread", 30.5 - 10.5},
        {"offset", 9.5 + 0.04},
        {"distinctValues", 4},
        {"missingCodes", 18 / 20.0}, // of 11 to 30
        // The first harmonic of 10, 20, 30, 40.
        {"interferenceLevel", std::hypot(20, 20) / 2},
        {"interferenceLevelDecibels", 20 * std::log10(std::hypot(20, 20) / 2 / 65535)},
        {"interferencePeriod", 2 * 4},
        {"quietShare", 27 * 32 / 1024.0}, // not: the first 16 samples, 3 groups, and the last 16
        {"pulseLevel", 65535},
        {"pulseLevelDecibels", 0},
        {"ringDownLength", 2 * (5 + std::log2(8192 / 6553.5))},
        {"clippedShare", 0},
        {"dropouts", 0},
        {"longestRun", 40},
        {"smallest", 10},
        {"largest", 65535},
        {"mean", (3 * 65535 + 65408 + 40 * 1000 + 972 * 25) / 1024.0},
        {"stuckHighBits", 0},
        {"stuckLowBits", 0},
        {"firmwareMajor", 5},
        {"firmwareMinor", 10},
    };
    Run_T run = PingOf(Echo());
    run.unit.firmwareVersion = "5.10";
    const auto measured = Measured(run, {.sampleClock = 1500, .soundSpeed = 1480});
    for (const auto& [name, value] : expected) {
        ASSERT_TRUE(measured.contains(name)) << name;
        EXPECT_NEAR(measured.at(name), value, 1e-3 * std::abs(value)) << name;
    }
    EXPECT_EQ(measured.size(), expected.size());
}

TEST(Measurements, OfADeadReceiverSayWhatIsDead)
{
    Run_T run = PingOf(std::vector<std::int32_t>(993, 5));
    run.samples.isThreeDigit = true;
    auto measured = Measured(run);
    EXPECT_EQ(measured["noiseFloor"], 5);
    EXPECT_NEAR(measured["noiseFloorDecibels"], 40 * std::log10(5 / 255.0), 1e-6);
    EXPECT_NEAR(Measured(run, {.law = ReceiverLaw::Linear})["noiseFloorDecibels"], 20 * std::log10(5 / 255.0),
                1e-6);
    EXPECT_EQ(measured["distinctValues"], 1);
    EXPECT_EQ(measured["stuckHighBits"], 2);
    EXPECT_EQ(measured["stuckLowBits"], 6);
    EXPECT_EQ(measured["longestRun"], 993);
    EXPECT_EQ(measured.count("ringDownLength") + measured.count("bottomLevel"), 0U);

    run = PingOf(std::vector<std::int32_t>(1024, 0));
    measured = Measured(run);
    EXPECT_EQ(measured["dropouts"], 1024);
    EXPECT_EQ(measured["stuckLowBits"], 16);
    EXPECT_EQ(measured.count("noiseFloorDecibels"), 0U);

    run = PingOf(std::vector<std::int32_t>(1024, 65535));
    measured = Measured(run);
    EXPECT_EQ(measured["clippedShare"], 1);
    EXPECT_EQ(measured["longestRun"], 0);
}

TEST(Measurements, ComparePingsOfTheSameSetUpOnly)
{
    CMeasurer measurer({});
    const auto measure = [&measurer](Run_T run) {
        measurer.Measure(run);
        return run;
    };
    const Run_T first = PingOf(Echo());
    EXPECT_EQ(measure(first).Measured("identicalSamples"), std::nullopt);
    Run_T second = first;
    for (std::size_t i = 12; i < 1024; i += 2) {
        ++second.samples.values[i];
    }
    const Run_T changed = measure(second);
    EXPECT_NEAR(changed.Measured("identicalSamples").value_or(0), 0.5, 0.01);
    EXPECT_EQ(changed.Measured("repeatability"), 0.5);
    Run_T other = second;
    other.commandLine += " 1";
    EXPECT_EQ(measure(other).Measured("identicalSamples"), std::nullopt);
    other.commandLine = second.commandLine;
    other.transcript = "another unit";
    EXPECT_EQ(measure(other).Measured("identicalSamples"), std::nullopt);
    const Run_T stale = measure(second);
    EXPECT_EQ(stale.repetition, 2U);
    EXPECT_EQ(stale.Measured("identicalSamples"), 1);
    EXPECT_EQ(stale.Measured("repeatability"), 0);
    // Only the last set-ups are kept.
    for (int setup = 0; setup < 100; ++setup) {
        other.commandLine += '1';
        measure(other);
    }
    EXPECT_EQ(measure(second).Measured("identicalSamples"), std::nullopt);
}

TEST(Measurements, TheTickRateIsTheMedianGrowthOfTheTicks)
{
    Run_T run;
    for (const double ticks : {0, 7, 15, 300, 308}) {
        run.measurements.push_back({"speedTicks", ticks});
    }
    EXPECT_EQ(Measured(run)["speedTickRate"], 8);
    run.measurements.resize(1);
    EXPECT_EQ(Measured(run).count("speedTickRate"), 0U);
}

TEST(Measurements, EveryOutputThatShowsMeasurementsShowsEachRowWithItsUnit)
{
    Run_T run = PingOf({1, 2, 3, 4});
    run.transcript = "t";
    run.samples.isThreeDigit = true;
    run.receiverLaw = "square-root";
    for (const MeasurementRow_T& row : MeasurementRows()) {
        run.measurements.push_back({row.name, 0.25, row.unit});
    }
    for (const std::string format : {"json", "junit", "measurements", "html"}) {
        const std::string text = WrittenAsMeasured(format, {run});
        EXPECT_THAT(text, HasSubstr("square-root")) << format;
        for (const MeasurementRow_T& row : MeasurementRows()) {
            const std::string name = row.name;
            const std::string unit = row.unit;
            const std::string shown[] = {
                "\"value\":0.25" + (unit.empty() ? "}" : ",\"unit\":\"" + unit + "\"}"),
                "<property name=\"" + name + "\" value=\"0.25" + (unit.empty() ? "" : " " + unit) + "\"",
                "\"t\",0,\"\",not judged," + name + ",0.25," + unit + "," +
                    (row.usesLaw ? "square-root" : ""),
                "<li>" + name + " 0.25" + (unit.empty() ? "" : " " + unit) + "</li>"};
            EXPECT_THAT(text, AnyOf(HasSubstr("\"name\":\"" + name + "\"," + shown[0]), HasSubstr(shown[1]),
                                    HasSubstr(shown[2] + ",,,,\r\n"), HasSubstr(shown[3])))
                << format << " does not show " << name;
        }
    }
}
