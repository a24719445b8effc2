#include "simulator/models/Scene.h"

#include "tools/JsonFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <string>

namespace
{
/// A number in a JSON object, and where it goes.
template <class Record>
struct Number_T {
    const char* key;
    double low;
    double high;
    void (*store)(Record&, double);
    bool isWhole = false;
};

constexpr std::array<Number_T<Bottom_T>, 2> c_Bottom{{
    {"depth", 0.5, 1000, [](Bottom_T& bottom, double value) { bottom.depth = value; }},
    {"strength", -60, 0, [](Bottom_T& bottom, double value) { bottom.strength = value; }},
}};

constexpr std::array<Number_T<Scene_T>, 2> c_Water{{
    {"temperature", -5, 50, [](Scene_T& scene, double value) { scene.waterTemperature = value; }},
    {"speed", 0, 30, [](Scene_T& scene, double value) { scene.waterSpeed = value; }},
}};

constexpr std::array<Number_T<Fish_T>, 4> c_Fish{{
    {"depth", 0.5, 1000, [](Fish_T& fish, double value) { fish.depth = value; }},
    {"strength", -80, 0, [](Fish_T& fish, double value) { fish.strength = value; }},
    {"offset", -100, 100, [](Fish_T& fish, double value) { fish.offset = value; }},
    {"drift", -10, 10, [](Fish_T& fish, double value) { fish.drift = value; }},
}};

constexpr std::array<Number_T<Scene_T>, 2> c_Receiver{{
    {"noise", 0, 10000, [](Scene_T& scene, double value) { scene.noise = value; }},
    {"seed", 0, 4294967295.0,
     [](Scene_T& scene, double value) { scene.seed = static_cast<std::uint32_t>(value); }, true},
}};

constexpr std::array<Number_T<SceneUnit_T>, 2> c_Unit{{
    {"seed", 0, 4294967295.0,
     [](SceneUnit_T& unit, double value) { unit.seed = static_cast<std::uint32_t>(value); }, true},
    {"interferenceFrequency", 1, 10000,
     [](SceneUnit_T& unit, double value) { unit.interferenceFrequency = value; }},
}};

constexpr std::size_t c_MostFish = 100;

/// Stores a member that is one of the numbers; false when it is not.
template <class Record>
bool ReadMember(const CJsonValue& member, std::span<const Number_T<Record>> numbers, Record& record)
{
    const auto number = std::ranges::find(numbers, member.Key(), &Number_T<Record>::key);
    if (number == numbers.end()) {
        return false;
    }
    number->store(record, member.Number(number->low, number->high, number->isWhole));
    return true;
}

/// Reads an object that holds nothing but numbers.
template <class Record>
void ReadObject(const CJsonValue& object, std::span<const Number_T<Record>> numbers, Record& record)
{
    for (const CJsonValue& member : object.Members()) {
        if (!ReadMember(member, numbers, record)) {
            member.Refuse("unknown key");
        }
    }
}

std::vector<Fish_T> ReadFish(const CJsonValue& list)
{
    if (list.Elements().size() > c_MostFish) {
        list.Refuse("has more than " + std::to_string(c_MostFish) + " entries");
    }
    std::vector<Fish_T> fish;
    for (const CJsonValue& entry : list.Elements()) {
        ReadObject<Fish_T>(entry, c_Fish, fish.emplace_back());
    }
    return fish;
}

std::vector<Defect_T> ReadDefects(const CJsonValue& object)
{
    std::vector<Defect_T> defects;
    for (const CJsonValue& member : object.Members()) {
        const auto kind = std::ranges::find(DefectKinds(), member.Key(), &DefectKind_T::name);
        if (kind == DefectKinds().end()) {
            member.Refuse("unknown kind of defect");
        }
        defects.push_back({&*kind, member.Number(kind->low, kind->high, kind->isWhole)});
    }
    return defects;
}

SceneUnit_T ReadUnit(const CJsonValue& object)
{
    SceneUnit_T unit;
    for (const CJsonValue& member : object.Members()) {
        if (member.Key() == "defects") {
            unit.defects = ReadDefects(member);
        } else if (!ReadMember<SceneUnit_T>(member, c_Unit, unit)) {
            member.Refuse("unknown key");
        }
    }
    return unit;
}

Scene_T SceneOf(const CJsonValue& json)
{
    Scene_T scene;
    const CJsonValue* pFish = nullptr;
    for (const CJsonValue& member : json.Members()) {
        if (member.Key() == "bottom") {
            if (member.IsNull()) {
                scene.bottom.reset();
            } else {
                ReadObject<Bottom_T>(member, c_Bottom, *scene.bottom);
            }
        } else if (member.Key() == "water") {
            ReadObject<Scene_T>(member, c_Water, scene);
        } else if (member.Key() == "unit") {
            scene.unit = ReadUnit(member);
        } else if (member.Key() == "fish") {
            scene.fish = ReadFish(member);
            pFish = &member;
        } else if (!ReadMember<Scene_T>(member, c_Receiver, scene)) {
            member.Refuse("unknown key");
        }
    }
    const auto isBuried = [&](const Fish_T& fish) {
        return scene.bottom && fish.depth >= scene.bottom->depth;
    };
    if (pFish == nullptr) { // the default fish give way to a shallow bottom
        std::erase_if(scene.fish, isBuried);
    }
    const auto buried = std::ranges::find_if(scene.fish, isBuried);
    if (buried != scene.fish.end()) {
        pFish->Elements()[static_cast<std::size_t>(buried - scene.fish.begin())].Refuse(
            "the fish is not above the bottom");
    }
    return scene;
}
} // namespace

WaterAdc_T ReadWaterAdc(const Scene_T& scene)
{
    constexpr std::uint32_t c_Reference = 0x400000;
    constexpr std::uint32_t c_Sense = 0x200000;
    const double ratio = (27.334 * std::exp(-0.04 * scene.waterTemperature) + 1) / 10;
    return {c_Reference, static_cast<std::uint32_t>(std::lround(ratio * c_Reference)), c_Sense};
}

Scene_T ParseScene(const QByteArray& json) { return SceneOf(CJsonValue::Parse("scene", json)); }

Scene_T ReadScene(const std::filesystem::path& file) { return SceneOf(CJsonValue::ReadFile(file)); }
