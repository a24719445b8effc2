#include "station/EchoFeatures.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/station/Runs.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <cmath>

using namespace testing;
using Words_T = std::vector<std::string>;

namespace
{
/// A product that pings, and its seconds from sample to sample.
struct Sounder_T {
    std::string product;
    Words_T command;
    double interval;
};

const Sounder_T c_Sounders[] = {
    {"QL4K", {"xkping", "examples/short.txt", "0", "1"}, 128.0 * 8 * 4 / 69.248e6},
    {"QL6M", {"xkping", "examples/short.txt", "0", "1"}, 128.0 * 8 * 4 / 86.56e6},
    {"Varrow", {"ping", "200000", "210000", "27", "45", "0", "low"}, 76 * 475e-9},
    {"LumetV2", {"lumetping", "200long"}, 1024.0 * 3 / 71e6}};

Samples_T Heard(const Sounder_T& sounder, const std::string& scene, const std::string& fault = "")
{
    const TemporaryDirectory directory;
    CVirtualUnit unit(sounder.product);
    unit.Option("--scene", directory.Write("scene", scene));
    if (!fault.empty()) {
        unit.Fault(fault);
    }
    return CRuns(unit.Run(sounder.command).output).Only().samples;
}

EchoFeatures_T Found(const Samples_T& samples)
{
    return FindEchoFeatures(samples.values, samples.FullScale());
}
} // namespace

TEST(Echo, TheBottomIsFoundWhereItIsAndTheRingDownEndsBeforeIt)
{
    for (const Sounder_T& sounder : c_Sounders) {
        for (const double depth : {3.0, 8.0, 18.0, 900.0}) {
            for (const std::string rest : {R"("strength": -10}, "seed": 9)", R"("strength": -25}, "seed": 9)",
                                           R"("strength": -10}, "noise": 1, "fish": [])"}) {
                const auto found = Found(
                    Heard(sounder, "{\"bottom\": {\"depth\": " + std::to_string(depth) + ", " + rest + "}"));
                const double front = depth / 750 / sounder.interval;
                ASSERT_TRUE(found.ringDownEnd) << sounder.product << " " << depth << " m, " << rest;
                EXPECT_LT(static_cast<double>(*found.ringDownEnd) * sounder.interval * 750, 3);
                EXPECT_EQ(found.bottom.has_value(), depth < 20) << sounder.product << " " << depth << rest;
                EXPECT_NEAR(static_cast<double>(found.bottom.value_or(0)), depth < 20 ? front : 0, 2)
                    << sounder.product << " " << depth << " m, " << rest;
            }
        }
    }
}

TEST(Echo, NoDecayIsABottomHoweverSlowItIs)
{
    for (const double decay : {2, 5, 8, 10, 15, 25, 40, 60}) {
        for (const std::int32_t bottom : {0, 2500, 60000}) {
            // Beneath it a second one, and a strong fish between.
            std::vector<std::int32_t> values(1024);
            for (int i = 0; i < 1024; ++i) {
                const auto echo = [i](int at, double level, double length) {
                    return i < at ? 0 : level * std::exp((at - i) / length);
                };
                const double sum = echo(10, 65535, decay) + echo(400, bottom, 50) + echo(790, bottom / 5, 50);
                values[static_cast<std::size_t>(i)] =
                    static_cast<std::int32_t>(i < 10 ? 65535 : sum + echo(330, 9000, 1) + i * 7919 % 50);
            }
            const auto found = FindEchoFeatures(values, 65535);
            EXPECT_TRUE(found.ringDownEnd) << decay;
            EXPECT_EQ(found.bottom, bottom > 0 ? std::optional<std::size_t>(400) : std::nullopt)
                << decay << " " << bottom;
        }
    }
}

TEST(Echo, WhatIsNotClearIsNotFound)
{
    const std::string fish = R"("fish": [{"depth": 5, "strength": -10}, {"depth": 5.25, "strength": -15}])";
    for (const Sounder_T& sounder : c_Sounders) {
        const auto deep = Found(Heard(sounder, R"({"bottom": {"depth": 900}, "noise": 1, )" + fish + "}"));
        EXPECT_TRUE(deep.ringDownEnd && !deep.bottom)
            << sounder.product << ": fish are no bottom, not even two";
        const auto shallow = Found(Heard(sounder, R"({"bottom": {"depth": 0.6}, "fish": []})"));
        EXPECT_FALSE(shallow.ringDownEnd || shallow.bottom)
            << sounder.product << ": it lies in the ring-down";
        const auto loud = Found(Heard(sounder, R"({"bottom": {"depth": 900}, "noise": 9000, "fish": []})"));
        EXPECT_FALSE(loud.bottom) << sounder.product;
    }
    const auto silent = Found(Heard(c_Sounders[0], "{}", "fill:1=zeros"));
    EXPECT_FALSE(silent.ringDownEnd || silent.bottom);
    EXPECT_FALSE(FindEchoFeatures({}, 255).ringDownEnd);
    const std::vector<std::int32_t> few = {65535, 33, 20, 64, 2788, 118, 12, 5};
    EXPECT_FALSE(FindEchoFeatures(few, 65535).ringDownEnd);
}
