#include "station/EchoFeatures.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/station/Runs.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

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
        for (const double depth : {4.0, 18.0}) {
            for (const std::string strength : {"-10", "-25"}) {
                const auto found =
                    Found(Heard(sounder, "{\"bottom\": {\"depth\": " + std::to_string(depth) +
                                             ", \"strength\": " + strength + "}, \"seed\": 9}"));
                ASSERT_TRUE(found.bottom) << sounder.product << " " << depth << " m";
                EXPECT_NEAR(static_cast<double>(*found.bottom) * sounder.interval * 750, depth, 0.15)
                    << sounder.product;
                EXPECT_LT(static_cast<double>(*found.ringDownEnd) * sounder.interval * 750, 3);
            }
        }
    }
}

TEST(Echo, WhatIsNotClearIsNotFound)
{
    const std::string fish = R"("fish": [{"depth": 9, "strength": -20}])";
    for (const Sounder_T& sounder : c_Sounders) {
        const auto deep = Found(Heard(sounder, R"({"bottom": {"depth": 900}, )" + fish + "}"));
        EXPECT_TRUE(deep.ringDownEnd && !deep.bottom) << sounder.product << ": a fish is no bottom";
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
