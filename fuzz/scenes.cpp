// Scenes of arbitrary bytes: each is refused with a message, or can be heard.

#include "fuzz/FuzzInput.h"
#include "simulator/models/Echo.h"

#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    try {
        const Scene_T scene =
            ParseScene({reinterpret_cast<const char*>(pData), static_cast<qsizetype>(size)});
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
