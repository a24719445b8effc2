#include "simulator/LumetFpgaModel.h"

#include "simulator/WaterAdc.h"

#include <algorithm>

namespace
{

constexpr double c_ClockHz = 71'000'000;
constexpr double c_FrontEndDivisor = 1024;
constexpr double c_FrequencyWordRange = 4294967296.0;
constexpr std::size_t c_SampleCountUnit = 16;

constexpr unsigned int c_CommandPing = 0x01;
constexpr unsigned int c_CommandFirstChannel = 0x02;

} // namespace

CLumetFpgaModel::CLumetFpgaModel(const FpgaSetup_T& setup)
    : CPacketFpgaModel(setup, {.map = LumetRegisters(),
                               .fifos = {LumetAddress::Of(0, LumetAddress::c_FifoData),
                                         LumetAddress::Of(1, LumetAddress::c_FifoData)},
                               .hasInterruptMode = true})
{
    const WaterAdc_T readings = ReadWaterAdc(setup.scene);
    SetInput(LumetAddress::c_AdcReference, readings.reference);
    SetInput(LumetAddress::c_WaterTemperature, readings.water);
    SetInput(LumetAddress::c_SenseResistor, readings.sense);
}

std::string CLumetFpgaModel::Command(std::uint8_t command)
{
    std::string effect;
    for (std::size_t channel = 0; channel < LumetAddress::c_Channels; ++channel) {
        const unsigned int wanted = c_CommandPing | c_CommandFirstChannel << channel;
        if ((command & wanted) != wanted) {
            continue;
        }
        const auto value = [&](std::uint16_t place, std::size_t width) {
            return Value(LumetAddress::Of(channel, place), width);
        };
        const double rate = std::max(value(LumetAddress::c_SubSampleRate, 1), 1U);
        const double frequency = value(LumetAddress::c_StartFrequency, 4) * c_ClockHz / c_FrequencyWordRange;
        const double cycles = value(LumetAddress::c_BurstLength, 2);
        effect += FirePing(LumetAddress::Of(channel, LumetAddress::c_FifoData),
                           {.interval = c_FrontEndDivisor * rate / c_ClockHz,
                            .samples = value(LumetAddress::c_SampleCount, 2) * c_SampleCountUnit,
                            .frequency = frequency,
                            .pulse = frequency > 0 ? cycles / frequency : 0},
                           [](Bytes_T& data, std::uint16_t sample) { data.push_back(ByteSample(sample)); });
    }
    return effect;
}
