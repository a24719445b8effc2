// Scenes of arbitrary bytes: each is refused with a message, or holds only values in their ranges and can be
// heard.

#include "fuzz/FuzzInput.h"
#include "simulator/models/Echo.h"

#include <stdexcept>

namespace
{
void CheckRange(double value, double low, double high)
{
    Require(value >= low && value <= high, "a value of a scene is in its range");
}

void Check(const Scene_T& scene)
{
    const Bottom_T bottom = scene.bottom.value_or(Bottom_T{.depth = 1000});
    CheckRange(bottom.depth, 0.5, 1000);
    CheckRange(bottom.strength, -60, 0);
    CheckRange(scene.waterTemperature, -5, 50);
    CheckRange(scene.waterSpeed, 0, 30);
    CheckRange(scene.noise, 0, 10000);
    CheckRange(scene.unit.interferenceFrequency, 1, 10000);
    for (const Defect_T& defect : scene.unit.defects) {
        CheckRange(defect.severity, defect.kind->low, defect.kind->high);
    }
    Require(scene.fish.size() <= 100, "a scene has at most 100 fish");
    for (const Fish_T& fish : scene.fish) {
        CheckRange(fish.depth, 0.5, bottom.depth);
        CheckRange(fish.strength, -80, 0);
        CheckRange(fish.offset, -100, 100);
        CheckRange(fish.drift, -10, 10);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    try {
        const Scene_T scene =
            ParseScene({reinterpret_cast<const char*>(pData), static_cast<qsizetype>(size)});
        Check(scene);
        const auto samples = CEcho(scene).Ping({.interval = 1e-3,
                                                .samples = 64,
                                                .frequency = 200e3,
                                                .pulse = 1e-3,
                                                .bits = size % 2 == 0 ? 8U : 16U});
        Require(samples.size() == 64, "a ping has the samples of its settings");
    } catch (const std::runtime_error& error) {
        RequireMessage(error.what());
    }
    return 0;
}
