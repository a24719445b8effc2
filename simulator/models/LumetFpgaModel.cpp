#include "simulator/models/LumetFpgaModel.h"

#include <algorithm>
#include <array>

namespace
{
using enum RegisterAccess_T;

constexpr std::size_t c_Channels = 2;

// The registers that show readings.
constexpr std::uint16_t c_AdcReference = 128;
constexpr std::uint16_t c_WaterTemperature = 132;
constexpr std::uint16_t c_SenseResistor = 136;

// The registers of a channel that do something or describe the ping, by their place in the channel's block.
// The others only keep what was written.
constexpr std::uint16_t c_SampleCount = 0x10;
constexpr std::uint16_t c_SubSampleRate = 0x42;
constexpr std::uint16_t c_FifoData = 0x50;
constexpr std::uint16_t c_StartFrequency = 0x200;
constexpr std::uint16_t c_BurstLength = 0x208;

/// Address of a place in the block of a channel, 0 or 1.
constexpr std::uint16_t AddressOf(std::size_t channel, std::uint16_t place)
{
    return static_cast<std::uint16_t>(0x4000 * (channel + 1) + place);
}

constexpr double c_ClockHz = 71'000'000;
constexpr double c_FrontEndDivisor = 1024;
constexpr double c_FrequencyWordRange = 4294967296.0;
constexpr std::size_t c_SampleCountUnit = 16;

constexpr unsigned int c_CommandPing = 0x01;
constexpr unsigned int c_CommandFirstChannel = 0x02;

std::vector<PacketRegister_T> Rows()
{
    // The channels share these.
    std::vector<PacketRegister_T> rows = {
        {"Command", PacketAddress::c_Command, 1, Write},
        {"Status", PacketAddress::c_Status, 1, Read},
        {"Version", PacketAddress::c_Version, 1, Read},
        {"BoostLevel", 8, 1, Write},
        {"Sync", 96, 1, Write},
        {.name = "WifiLed", .address = 113, .width = 2, .access = Write, .hasBlockFlag = true},
        {.name = "AdcReference", .address = c_AdcReference, .width = 3, .access = Read, .hasBlockFlag = true},
        {.name = "WaterTemperature",
         .address = c_WaterTemperature,
         .width = 3,
         .access = Read,
         .hasBlockFlag = true},
        {.name = "SenseResistor",
         .address = c_SenseResistor,
         .width = 3,
         .access = Read,
         .hasBlockFlag = true},
        {"Debug", 240, 16, Debug},
    };
    // Each channel has these, at their places in its block. The first channel's table is so long that it
    // covers the second channel's registers, which are written without the block flag.
    const std::array<PacketRegister_T, 24> channelRows = {{
        {"SampleCountLow", c_SampleCount, 1, Write},
        {"SampleCountHigh", c_SampleCount + 1, 1, Write},
        {"AnalogueGain", 0x12, 1, Write},
        {"CentreFrequency0", 0x20, 1, Write},
        {"CentreFrequency1", 0x21, 1, Write},
        {"CentreFrequency2", 0x22, 1, Write},
        {"CentreFrequency3", 0x23, 1, Write},
        {"CorrelationScaling", 0x40, 1, Write},
        {"CorrelationDownShift", 0x41, 1, Write},
        {"SubSampleRate", c_SubSampleRate, 1, Write},
        {"FifoData", c_FifoData, 0, Stream},
        {"FifoControl", c_FifoData + PacketAddress::c_FifoControl, 1, Write},
        {"FifoStatus", c_FifoData + PacketAddress::c_FifoStatus, 1, Read},
        {"StartFrequency0", c_StartFrequency, 1, Write},
        {"StartFrequency1", c_StartFrequency + 1, 1, Write},
        {"StartFrequency2", c_StartFrequency + 2, 1, Write},
        {"StartFrequency3", c_StartFrequency + 3, 1, Write},
        {"ChirpIncrement0", 0x204, 1, Write},
        {"ChirpIncrement1", 0x205, 1, Write},
        {"ChirpIncrement2", 0x206, 1, Write},
        {"ChirpIncrement3", 0x207, 1, Write},
        {"BurstLengthLow", c_BurstLength, 1, Write},
        {"BurstLengthHigh", c_BurstLength + 1, 1, Write},
        {"CorrelationTable", 0x2000, 16384, Table, 4},
    }};
    for (std::size_t channel = 0; channel < c_Channels; ++channel) {
        for (PacketRegister_T row : channelRows) {
            row.name.insert(0, "Ch" + std::to_string(channel) + ".");
            row.address = AddressOf(channel, row.address);
            rows.push_back(std::move(row));
        }
    }
    return rows;
}
} // namespace

const CPacketRegisterMap& LumetRegisters()
{
    static const CPacketRegisterMap c_Map(Rows());
    return c_Map;
}

CLumetFpgaModel::CLumetFpgaModel(const FpgaSetup_T& setup) : CPacketFpgaModel(setup, LumetRegisters(), true)
{
    const WaterAdc_T readings = ReadWaterAdc(setup.scene);
    SetInput(c_AdcReference, readings.reference);
    SetInput(c_WaterTemperature, readings.water);
    SetInput(c_SenseResistor, readings.sense);
}

std::string CLumetFpgaModel::Command(std::uint8_t command)
{
    std::string effect;
    for (std::size_t channel = 0; channel < c_Channels; ++channel) {
        const unsigned int wanted = c_CommandPing | c_CommandFirstChannel << channel;
        if ((command & wanted) != wanted) {
            continue;
        }
        const auto value = [&](std::uint16_t place, std::size_t width) {
            return Value(AddressOf(channel, place), width);
        };
        const double rate = std::max(value(c_SubSampleRate, 1), 1U);
        const double frequency = value(c_StartFrequency, 4) * c_ClockHz / c_FrequencyWordRange;
        const double cycles = value(c_BurstLength, 2);
        effect +=
            FirePing(AddressOf(channel, c_FifoData), {.interval = c_FrontEndDivisor * rate / c_ClockHz,
                                                      .samples = value(c_SampleCount, 2) * c_SampleCountUnit,
                                                      .frequency = frequency,
                                                      .pulse = frequency > 0 ? cycles / frequency : 0,
                                                      .bits = 8,
                                                      .channel = static_cast<unsigned int>(channel)});
    }
    return effect;
}
