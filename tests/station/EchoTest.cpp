#include "station/judge/Echo.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/station/Runs.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

using namespace testing;

namespace
{
/// A product that pings, and the seconds between its samples.
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

EchoFeatures_T Heard(const Sounder_T& sounder, const std::string& scene)
{
    const TemporaryDirectory directory;
    const auto unit = CVirtualUnit(sounder.product).Option("--scene", directory.Write("scene", scene));
    const Samples_T samples = CRuns(unit.Run(sounder.command).output).Only().samples;
    return FindEchoFeatures(samples.values, samples.FullScale());
}
} // namespace

TEST(Echo, TheBottomIsFoundWhereItIsAndTheRingDownEndsBeforeIt)
{
    for (const Sounder_T& sounder : c_Sounders) {
        for (const double depth : {3.0, 8.0, 18.0, 900.0}) {
            for (const std::string rest : {R"("strength": -10}, "seed": 9)", R"("strength": -25}, "seed": 9)",
                                           R"("strength": -10}, "noise": 1, "fish": [])"}) {
                const auto found =
                    Heard(sounder, "{\"bottom\": {\"depth\": " + std::to_string(depth) + ", " + rest + "}");
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

TEST(Echo, FishAndAShallowBottomAreNotTakenForTheBottom)
{
    const std::string fish = R"("fish": [{"depth": 5, "strength": -10}, {"depth": 5.25, "strength": -15}])";
    for (const Sounder_T& sounder : c_Sounders) {
        const auto deep = Heard(sounder, R"({"bottom": {"depth": 900}, "noise": 1, )" + fish + "}");
        EXPECT_EQ(deep.bottom, std::nullopt) << sounder.product;
        const auto shallow = Heard(sounder, R"({"bottom": {"depth": 0.6}, "fish": []})");
        EXPECT_EQ(shallow.ringDownEnd, std::nullopt) << sounder.product << ": the bottom is in the ring-down";
    }
}

TEST(Echo, EachThresholdHasTheValueInTheManual)
{
    /// COUNT samples of VALUE, starting at PLACE.
    struct Part_T {
        std::size_t place, count;
        std::int32_t value;
    };
    using Place_T = std::optional<std::size_t>;
    struct Case_T {
        const char* name;
        std::vector<Part_T> parts; ///< above a noise of 10; the pulse ends at 4, the bottom begins at 100
        Place_T ringDownEnd, bottom;
    };
    const Part_T bottom = {100, 40, 600};
    const auto none = std::nullopt;
    const Case_T cases[] = {
        {"pulse of half of full scale", {{0, 4, 500}, bottom}, 4, 100},
        {"pulse below", {{0, 4, 499}, bottom}, none, none},
        {"quiet below 10 %", {{4, 96, 99}, bottom}, 4, 100},
        {"not quiet at 10 %", {{4, 96, 100}, bottom}, none, none},
        {"15 quiet samples", {{19, 1, 100}, bottom}, 20, 100},
        {"16 quiet samples", {{20, 1, 100}, bottom}, 4, 100},
        {"rise by 10 % in the ring-down", {{4, 1, 300}, {5, 1, 400}, bottom}, 6, 100},
        {"larger rise", {{4, 1, 300}, {5, 1, 401}, bottom}, none, none},
        {"bottom of 3 medians", {{4, 300, 50}, {100, 40, 150}}, 4, 100},
        {"lower bottom", {{4, 300, 50}, {100, 40, 149}}, 4, none},
        {"bottom of 1 %", {{4, 300, 1}, {100, 40, 10}}, 4, 100},
        {"fainter bottom", {{4, 300, 1}, {100, 40, 9}}, 4, none},
        {"bottom of 2 times the quiet", {{4, 95, 75}, {100, 40, 150}}, 4, 100},
        {"less above the quiet", {{4, 95, 75}, {100, 40, 149}}, 4, none},
        {"peak of 5 levels", {{100, 1, 500}, {101, 40, 100}}, 4, 100},
        {"higher peak", {{100, 1, 501}, {101, 40, 100}}, 4, none},
        {"rise by 75 % after the peak", {{100, 1, 400}, {101, 40, 100}, {106, 1, 175}}, 4, 100},
        {"second peak", {{100, 1, 400}, {101, 40, 100}, {106, 1, 176}}, 4, none},
        {"bottom of 12 samples", {{100, 12, 100}}, 4, 100},
        {"shorter bottom", {{100, 11, 100}}, 4, none},
        {"front of half the peak", {{98, 2, 300}, bottom}, 4, 98},
        {"lower front", {{98, 2, 299}, bottom}, 4, 100},
        {"tail above the bottom", {{4, 16, 90}, {20, 80, 20}, {100, 40, 80}}, 4, 100},
        {"fainter echo before", {{50, 16, 100}, bottom}, 4, 100},
        {"fainter echo after", {bottom, {200, 40, 120}}, 4, 100}};
    for (const Case_T& row : cases) {
        std::vector<std::int32_t> values(304, 10);
        std::fill_n(values.begin(), 4, 1000);
        for (const Part_T& part : row.parts) {
            std::fill_n(values.begin() + static_cast<std::ptrdiff_t>(part.place), part.count, part.value);
        }
        const auto found = FindEchoFeatures(values, 1000);
        EXPECT_EQ(found.ringDownEnd, row.ringDownEnd) << row.name;
        EXPECT_EQ(found.bottom, row.bottom) << row.name;
    }
    // Too short for a stretch of samples, and for the ring-down to end.
    EXPECT_EQ(FindEchoFeatures({}, 255).ringDownEnd, std::nullopt);
    const std::vector<std::int32_t> few = {65535, 33, 20, 64, 2417, 134, 9, 5};
    EXPECT_EQ(FindEchoFeatures(few, 65535).ringDownEnd, std::nullopt);
    EXPECT_EQ(MeasureLevels(std::vector<std::int32_t>{1000, 999, 1000, 1001}, 1000, 1).clipped, 2U);
}
