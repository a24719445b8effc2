#include "simulator/models/Scene.h"
#include "simulator/models/EchoTruth.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>

TEST(SceneTest, ASceneKeepsTheDefaultsThatItDoesNotName)
{
    const Scene_T scene = ParseScene(
        R"({"bottom": {"depth": 33.5}, "seed": 4294967295, "water": {"speed": 3}, "fish": [{"drift": -1}]})");
    EXPECT_EQ(scene.bottom->depth, 33.5);
    EXPECT_EQ(scene.bottom->strength, Bottom_T{}.strength);
    EXPECT_EQ(scene.seed, 4294967295U);
    EXPECT_EQ(scene.waterSpeed, 3);
    ASSERT_EQ(scene.fish.size(), 1U);
    EXPECT_EQ(scene.fish[0].drift, -1);
    EXPECT_EQ(ParseScene(R"({"bottom": {"depth": 10}})").fish.size(), 1U) << "default fish need their water";
    EXPECT_EQ(ParseScene(R"({"bottom": null, "fish": [{"depth": 900}]})").bottom.has_value(), false);
    const SceneUnit_T unit =
        ParseScene(R"({"unit": {"seed": 0, "defects": {"deaf": 20, "stuckLow": 2}}})").unit;
    EXPECT_EQ(unit.seed, 0U);
    ASSERT_EQ(unit.defects.size(), 2U);
    EXPECT_STREQ(unit.defects[1].kind->name, "stuckLow");
    EXPECT_EQ(unit.defects[1].severity, 2);
}

TEST(SceneTest, AWrongSceneIsRefusedWithThePlaceOfItsMistake)
{
    const std::pair<const char*, const char*> rows[] = {
        {R"({"depth": 3})", "depth: unknown key"},
        {R"({"seed": 1.5})", "seed: 1.5 is not a whole number from 0 to 4294967295"},
        {R"({"fish": [{}, {"strength": 3}]})", "fish[1].strength: 3 is not a number from -80 to 0"},
        {R"({"unit": {"serial": 3}})", "scene:1:11: unit.serial: unknown key"},
        {R"({"unit": {"defects": {"blind": 1}}})", "unit.defects.blind: unknown kind of defect"},
        {R"({"unit": {"defects": {"deaf": 120}}})", "unit.defects.deaf: 120 is not a number from 0 to 96"},
        {"{\n \"fish\": [{\"depth\": 20}]}", "scene:2:11: fish[0]: the fish is not above the bottom"},
    };
    for (const auto& [json, why] : rows) {
        EXPECT_THAT(ErrorOf([&text = json] { ParseScene(text); }), testing::HasSubstr(why));
    }
}

TEST(EchoTruth, ALineHasTheLevelsAndPlacesThatCanBeCalculatedByHand)
{
    constexpr double c_Quarter = 65535 / 4.0, c_Hundredth = 655.35;
    EXPECT_EQ(TruthLine({.ping = 2,
                         .channel = 1,
                         .samples = 1024,
                         .bits = 8,
                         .interval = 0.001,
                         .noise = c_Quarter / 1.25415,
                         .ringDown = EchoTruth_T::RingDown_T{.level = 65535, .pulse = 10, .decay = 5},
                         .bottom = EchoTruth_T::Bottom_T{.range = 9, .front = 300.5, .level = c_Hundredth}}),
              R"({"ping": 2, "channel": 1, "samples": 1024, "bits": 8, "interval": 0.001, )"
              R"("noise": {"value": 127.5, "level": -12.0412}, )"
              R"("ringDown": {"value": 255, "level": 0, "pulse": 10, "decay": 5, "end": 33.02585}, )"
              R"("bottom": {"value": 25.5, "level": -40, "front": 300.5, "range": 9}})"
              "\n");
}
