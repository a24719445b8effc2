#include "simulator/Scene.h"
#include "simulator/Echo.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <span>
#include <stdexcept>

namespace
{

/// As common table files set an xK module: 59 microseconds, 4.4 cm a sample.
constexpr EchoSettings_T c_Settings = {
    .interval = 128 * 8 * 4 / 69.248e6, .samples = 1024, .frequency = 200e3, .pulse = 512 * 16 / 69.248e6};

/// Place and height of the highest sample in a part.
std::pair<double, int> Peak(const std::vector<std::uint16_t>& samples, std::size_t first = 60,
                            std::size_t last = 1024)
{
    const auto peak = std::ranges::max_element(std::span(samples).subspan(first, last - first));
    return {&*peak - samples.data(), *peak};
}

} // namespace

TEST(EchoTest, ADefaultPingShowsRingDownFishBottomAndSecondBottomWhereTheyAre)
{
    const auto samples = CEcho(Scene_T{}).Ping(c_Settings);
    // Depth / 750 m/s / 59.15 us: 8 m is sample 180, 13 m 293, 20 m 451, 40 m 902.
    EXPECT_EQ(samples[0], 65535);
    EXPECT_LT(Peak(samples, 60, 160).second, 300) << "water must be quiet";
    EXPECT_NEAR(Peak(samples, 160, 240).first, 180, 2);
    EXPECT_NEAR(Peak(samples, 240, 400).first, 293, 2);
    EXPECT_NEAR(Peak(samples).first, 451, 2);
    EXPECT_NEAR(Peak(samples).second, 12470, 400); // 146 - 10 - 52.04 - 2.04 dB
    EXPECT_GT(Peak(samples, 470, 480).second, 3000) << "the bottom must have a tail";
    EXPECT_NEAR(Peak(samples, 800).first, 902, 4);
    EXPECT_LT(Peak(samples, 800).second, 1000);
}

TEST(SceneTest, AFileChangesWhatItNamesAndKeepsTheRest)
{
    const Scene_T scene = ParseScene(
        R"({"bottom": {"depth": 33.5}, "seed": 4294967295, "water": {"speed": 3}, "fish": [{"drift": -1}]})");
    EXPECT_EQ(scene.bottomDepth, 33.5);
    EXPECT_EQ(scene.bottomStrength, Scene_T{}.bottomStrength);
    EXPECT_EQ(scene.seed, 4294967295U);
    EXPECT_EQ(scene.waterSpeed, 3);
    ASSERT_EQ(scene.fish.size(), 1U);
    EXPECT_EQ(scene.fish[0].drift, -1);
    EXPECT_EQ(ParseScene(R"({"bottom": {"depth": 10}})").fish.size(), 1U) << "default fish need their water";
}

TEST(SceneTest, AWrongSceneIsRefusedByTheNameOfItsKey)
{
    const std::pair<const char*, const char*> rows[] = {
        {"{", "offset 1: "},
        {"[]", "not an object"},
        {R"({"depth": 3})", "depth: unknown key"},
        {R"({"bottom": {"depth": "20"}})", "bottom.depth: is not a number"},
        {R"({"water": {"temperature": 51}})", "water.temperature: 51 is not a number from -5 to 50"},
        {R"({"seed": 1.5})", "seed: 1.5 is not a whole number from 0 to 4294967295"},
        {R"({"fish": [{}, {"strength": 3}]})", "fish[1].strength: 3 is not a number from -80 to 0"},
        {R"({"fish": [{"depth": 20}]})", "fish[0].depth: 20 is not above the bottom"},
    };
    for (const auto& [json, why] : rows) {
        EXPECT_THAT([text = json] { ParseScene(text); },
                    testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr(why)));
    }
}
