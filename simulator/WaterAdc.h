#pragma once

#include "simulator/Scene.h"

#include <cmath>

/// Readings of the 24-bit converter at the water temperature sensor: water / reference = (27.334 r + 1) / 10,
/// where the sensor's resistance r, relative to that at 0 degrees, falls by the factor e every 25 degrees.
struct WaterAdc_T {
    std::uint32_t reference;
    std::uint32_t water;
    std::uint32_t sense; ///< of the sense resistor, which is the same in every water
};

/// What the converter reads in the water of a scene.
inline WaterAdc_T ReadWaterAdc(const Scene_T& scene)
{
    constexpr std::uint32_t c_Reference = 0x400000;
    constexpr std::uint32_t c_Sense = 0x200000;
    const double ratio = (27.334 * std::exp(-0.04 * scene.waterTemperature) + 1) / 10;
    return {c_Reference, static_cast<std::uint32_t>(std::lround(ratio * c_Reference)), c_Sense};
}
