#include "simulator/models/LumetFpgaModel.h"

#include "simulator/models/Reception.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace
{
using enum RegisterAccess_T;

constexpr std::size_t c_Channels = 2;

constexpr std::uint16_t c_BoostLevel = 8;

// The registers that show readings.
constexpr std::uint16_t c_AdcReference = 128;
constexpr std::uint16_t c_WaterTemperature = 132;
constexpr std::uint16_t c_SenseResistor = 136;

// The registers of a channel that do something or describe the ping, by their place in the channel's block.
// The others only keep what was written.
constexpr std::uint16_t c_SampleCount = 0x10;
constexpr std::uint16_t c_AnalogueGain = 0x12;
constexpr std::uint16_t c_CentreFrequency = 0x20;
constexpr std::uint16_t c_CorrelationScaling = 0x40;
constexpr std::uint16_t c_CorrelationDownShift = 0x41;
constexpr std::uint16_t c_SubSampleRate = 0x42;
constexpr std::uint16_t c_FifoData = 0x50;
constexpr std::uint16_t c_StartFrequency = 0x200;
constexpr std::uint16_t c_ChirpIncrement = 0x204;
constexpr std::uint16_t c_BurstLength = 0x208;
constexpr std::uint16_t c_CorrelationTable = 0x2000;
constexpr std::size_t c_CorrelationTableSize = 16384;

/// Address of a place in the block of a channel, 0 or 1.
constexpr std::uint16_t AddressOf(std::size_t channel, std::uint16_t place)
{
    return static_cast<std::uint16_t>(0x4000 * (channel + 1) + place);
}

constexpr double c_ClockHz = 71'000'000;
constexpr double c_FrontEndDivisor = 1024;
constexpr unsigned int c_ShiftBits = 31;

// Assumptions about the hardware, see docs/scene.md.
constexpr double c_TapSeconds = 128 / c_ClockHz;
constexpr std::array<double, c_Channels> c_Transducers = {200e3, 350e3};
constexpr unsigned int c_ReferenceBoost = 91;
constexpr int c_ReferenceGain = 50;
constexpr double c_GainStep = 0.5;           // dB
constexpr double c_ReferenceFilter = 10'000; // what the built-in filters give after scaling and down-shift
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
        {"BoostLevel", c_BoostLevel, 1, Write},
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
        {"AnalogueGain", c_AnalogueGain, 1, Write},
        {"CentreFrequency0", c_CentreFrequency, 1, Write},
        {"CentreFrequency1", c_CentreFrequency + 1, 1, Write},
        {"CentreFrequency2", c_CentreFrequency + 2, 1, Write},
        {"CentreFrequency3", c_CentreFrequency + 3, 1, Write},
        {"CorrelationScaling", c_CorrelationScaling, 1, Write},
        {"CorrelationDownShift", c_CorrelationDownShift, 1, Write},
        {"SubSampleRate", c_SubSampleRate, 1, Write},
        {"FifoData", c_FifoData, 0, Stream},
        {"FifoControl", c_FifoData + PacketAddress::c_FifoControl, 1, Write},
        {"FifoStatus", c_FifoData + PacketAddress::c_FifoStatus, 1, Read},
        {"StartFrequency0", c_StartFrequency, 1, Write},
        {"StartFrequency1", c_StartFrequency + 1, 1, Write},
        {"StartFrequency2", c_StartFrequency + 2, 1, Write},
        {"StartFrequency3", c_StartFrequency + 3, 1, Write},
        {"ChirpIncrement0", c_ChirpIncrement, 1, Write},
        {"ChirpIncrement1", c_ChirpIncrement + 1, 1, Write},
        {"ChirpIncrement2", c_ChirpIncrement + 2, 1, Write},
        {"ChirpIncrement3", c_ChirpIncrement + 3, 1, Write},
        {"BurstLengthLow", c_BurstLength, 1, Write},
        {"BurstLengthHigh", c_BurstLength + 1, 1, Write},
        {"CorrelationTable", c_CorrelationTable, c_CorrelationTableSize, Table, 4},
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

/// A pulse by coefficient of a filter whose middle meets its own: off the filter's centre frequency by so
/// many hertz in the middle, which grow by the sweep in a second.
Wave_T Pulse(std::size_t taps, double seconds, double off, double sweep)
{
    Wave_T wave(taps);
    for (std::size_t i = 0; i < taps; ++i) {
        const double time = (static_cast<double>(i) - static_cast<double>(taps - 1) / 2) * c_TapSeconds;
        const double turns = off * time + sweep * time * time / 2;
        wave[i] = std::abs(time) <= seconds / 2 ? std::polar(1.0, 2 * std::numbers::pi * turns) : 0;
    }
    return wave;
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
        effect += FirePing(AddressOf(channel, c_FifoData), Settings(channel));
    }
    return effect;
}

EchoSettings_T CLumetFpgaModel::Settings(std::size_t channel) const
{
    const auto value = [&](std::uint16_t place, std::size_t width) {
        return Value(AddressOf(channel, place), width);
    };
    const auto hertz = [](double word) { return word * c_ClockHz / c_FrequencyWordRange; };
    const double first = FrequencyFactor() * hertz(value(c_StartFrequency, 4));
    const double pulse = first > 0 ? value(c_BurstLength, 2) / first : 0;
    // The increment is negative in a falling sweep.
    const double sweep =
        FrequencyFactor() * hertz(static_cast<std::int32_t>(value(c_ChirpIncrement, 4))) / c_TapSeconds;
    const double frequency = first + sweep * pulse / 2;
    const Wave_T taps = ReadTaps(Tables(AddressOf(channel, c_CorrelationTable), c_CorrelationTableSize));
    const FilterMatch_T match =
        MatchOf(taps, Pulse(taps.size(), pulse, frequency - hertz(value(c_CentreFrequency, 4)), sweep));
    const int downShift = static_cast<int>(value(c_CorrelationDownShift, 1) & c_ShiftBits);
    return {.interval = c_FrontEndDivisor * std::max(value(c_SubSampleRate, 1), 1U) / c_ClockHz,
            .samples = value(c_SampleCount, 2) * c_SampleCountUnit,
            .frequency = frequency,
            .pulse = pulse,
            .transmit = BoostGain(Value(c_BoostLevel, 1), c_ReferenceBoost),
            .echoes = match.level *
                      Amplitude(c_GainStep * (static_cast<int>(value(c_AnalogueGain, 1)) - c_ReferenceGain)) *
                      BandGain(frequency, c_Transducers[channel], c_TransducerBand * c_Transducers[channel]),
            .all = std::ldexp(match.sum * value(c_CorrelationScaling, 1), -downShift) / c_ReferenceFilter,
            .spread = (1 - match.coherence) * pulse,
            .bits = 8,
            .channel = static_cast<unsigned int>(channel)};
}
