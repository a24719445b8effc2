// What the Lowscan FPGA answers on an SPI device, through every operation that reads or waits.

#include "Utilities/FPGAIFLSSPI.h"
#include "fuzz/LowscanOperations.h"

namespace
{
using Link_T = CFPGAIFLSSPI;
using Operation_T = void (*)(Link_T&, CFuzzInput&);

constexpr Operation_T c_Operations[] = {
    LowscanOperations::Version<Link_T>,
    LowscanOperations::Ping<Link_T>,
    LowscanOperations::Receive<Link_T>,
    LowscanOperations::SetUp<Link_T>,
    LowscanOperations::Fire<Link_T>,
    [](Link_T& link, CFuzzInput&) {
        LSADCReadings_T readings{};
        link.GetADCReadings(&readings);
        Require((readings.reference | readings.waterTemperature | readings.third) <= 0xFFFFFF,
                "an ADC reading has 24 bits");
    },
    [](Link_T& link, CFuzzInput&) { link.WaitForData(); },
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    LowscanOperations::Run<Link_T>(pData, size, c_Operations);
    return 0;
}
