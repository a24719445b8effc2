#pragma once

#include "simulator/models/UnitDefects.h"

#include <QByteArray>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

/// A fish below the boat. It crosses the beam from ping to ping, which draws an arc.
struct Fish_T {
    double depth = 10;     ///< metres, 0.5 to 1000
    double strength = -40; ///< target strength, dB, -80 to 0
    double offset = 0;     ///< metres from the beam's axis at the first ping, -100 to 100
    double drift = 0;      ///< metres that the offset grows between pings, -10 to 10
};

struct Bottom_T {
    double depth = 20;     ///< metres, 0.5 to 1000
    double strength = -10; ///< dB, -60 to 0
};

/// The water that the transducer and the sensors are in, and the unit that listens. The default scene has a
/// bottom at 20 m, two fish and a nominal unit.
struct Scene_T {
    std::optional<Bottom_T> bottom = Bottom_T{};
    std::vector<Fish_T> fish = {{.depth = 8, .strength = -38, .offset = 0.2, .drift = 0.1},
                                {.depth = 13, .strength = -34, .offset = -0.6, .drift = 0.2}};
    double waterTemperature = 15; ///< degrees Celsius, -5 to 50
    double waterSpeed = 2.5;      ///< of the water past the paddle wheel, metres per second, 0 to 30
    double noise = 40;            ///< of the receiver, in sample units (root mean square), 0 to 10000
    std::uint32_t seed = 1;       ///< of the receiver noise and the bottom's roughness
    SceneUnit_T unit = {};
};

/// Readings of the 24-bit converter at the water temperature sensor: water / reference = (27.334 r + 1) / 10,
/// where the sensor's resistance r, relative to that at 0 degrees, falls by the factor e every 25 degrees.
struct WaterAdc_T {
    std::uint32_t reference;
    std::uint32_t water;
    std::uint32_t sense; ///< of the sense resistor, which does not depend on the water
};

/// The readings in the water of a scene.
WaterAdc_T ReadWaterAdc(const Scene_T& scene);

/// Reads a scene from JSON text (docs/scene.md, simulator/scene.schema.json). Keys that are left out keep the
/// values of the default scene; a "fish" list replaces the default one. Throws std::runtime_error, which
/// names line, column and key, for text that is not JSON, an unknown key, a value of the wrong type or out of
/// its range, and a fish below the bottom.
Scene_T ParseScene(const QByteArray& json);

/// ParseScene() of a file, which its errors name.
Scene_T ReadScene(const std::filesystem::path& file);
