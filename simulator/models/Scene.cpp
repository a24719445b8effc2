#include "simulator/models/Scene.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <stdexcept>
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

constexpr std::array<Number_T<Scene_T>, 2> c_Bottom{{
    {"depth", 0.5, 1000, [](Scene_T& scene, double value) { scene.bottomDepth = value; }},
    {"strength", -60, 0, [](Scene_T& scene, double value) { scene.bottomStrength = value; }},
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

constexpr std::size_t c_MostFish = 100;

[[noreturn]] void Refuse(const std::string& place, const std::string& why)
{
    throw std::runtime_error(place + ": " + why);
}

std::string NumberText(double value) { return QByteArray::number(value, 'g', 12).toStdString(); }

template <class Record>
void ReadNumber(const QJsonValue& value, const std::string& place, const Number_T<Record>& number,
                Record& record)
{
    if (!value.isDouble()) {
        Refuse(place, "is not a number");
    }
    const double given = value.toDouble();
    if (given < number.low || given > number.high || (number.isWhole && given != std::floor(given))) {
        Refuse(place, NumberText(given) + " is not a " + (number.isWhole ? "whole " : "") + "number from " +
                          NumberText(number.low) + " to " + NumberText(number.high));
    }
    number.store(record, given);
}

/// Stores a member that is one of the numbers; false when it is not.
template <class Record>
bool ReadMember(const std::string& key, const QJsonValue& value, const std::string& place,
                std::span<const Number_T<Record>> numbers, Record& record)
{
    const auto number = std::ranges::find(numbers, key, &Number_T<Record>::key);
    if (number == numbers.end()) {
        return false;
    }
    ReadNumber(value, place, *number, record);
    return true;
}

/// Reads an object that holds nothing but numbers.
template <class Record>
void ReadObject(const QJsonValue& value, const std::string& place, std::span<const Number_T<Record>> numbers,
                Record& record)
{
    if (!value.isObject()) {
        Refuse(place, "is not an object");
    }
    const QJsonObject object = value.toObject();
    for (auto member = object.begin(); member != object.end(); ++member) {
        const std::string key = member.key().toStdString();
        const std::string memberPlace = std::string(place).append(".").append(key);
        if (!ReadMember(key, member.value(), memberPlace, numbers, record)) {
            Refuse(memberPlace, "unknown key");
        }
    }
}

std::vector<Fish_T> ReadFish(const QJsonValue& value)
{
    if (!value.isArray()) {
        Refuse("fish", "is not a list");
    }
    const QJsonArray list = value.toArray();
    if (static_cast<std::size_t>(list.size()) > c_MostFish) {
        Refuse("fish", "has more than " + std::to_string(c_MostFish) + " entries");
    }
    std::vector<Fish_T> fish;
    for (const auto& entry : list) {
        const std::string place = "fish[" + std::to_string(fish.size()) + "]";
        ReadObject<Fish_T>(entry, place, c_Fish, fish.emplace_back());
    }
    return fish;
}

} // namespace

WaterAdc_T ReadWaterAdc(const Scene_T& scene)
{
    constexpr std::uint32_t c_Reference = 0x400000;
    constexpr std::uint32_t c_Sense = 0x200000;
    const double ratio = (27.334 * std::exp(-0.04 * scene.waterTemperature) + 1) / 10;
    return {c_Reference, static_cast<std::uint32_t>(std::lround(ratio * c_Reference)), c_Sense};
}

Scene_T ParseScene(const QByteArray& json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        Refuse("offset " + std::to_string(error.offset), error.errorString().toStdString());
    }
    if (!document.isObject()) {
        throw std::runtime_error("the scene is not an object");
    }
    const QJsonObject object = document.object();
    Scene_T scene;
    for (auto member = object.begin(); member != object.end(); ++member) {
        const std::string key = member.key().toStdString();
        if (key == "bottom") {
            ReadObject<Scene_T>(member.value(), key, c_Bottom, scene);
        } else if (key == "water") {
            ReadObject<Scene_T>(member.value(), key, c_Water, scene);
        } else if (key == "fish") {
            scene.fish = ReadFish(member.value());
        } else if (!ReadMember<Scene_T>(key, member.value(), key, c_Receiver, scene)) {
            Refuse(key, "unknown key");
        }
    }
    // The default fish stay in shallow water only as far as there is water.
    if (!object.contains(QLatin1String("fish"))) {
        std::erase_if(scene.fish, [&](const Fish_T& fish) { return fish.depth >= scene.bottomDepth; });
    }
    const auto buried =
        std::ranges::find_if(scene.fish, [&](const Fish_T& fish) { return fish.depth >= scene.bottomDepth; });
    if (buried != scene.fish.end()) {
        Refuse("fish[" + std::to_string(buried - scene.fish.begin()) + "].depth",
               NumberText(buried->depth) + " is not above the bottom");
    }
    return scene;
}

Scene_T ReadScene(const std::filesystem::path& file)
{
    QFile source(QFile::decodeName(file.c_str()));
    if (!source.open(QIODevice::ReadOnly)) {
        Refuse(file.string(), source.errorString().toStdString());
    }
    try {
        return ParseScene(source.readAll());
    } catch (const std::runtime_error& error) {
        Refuse(file.string(), error.what());
    }
}
