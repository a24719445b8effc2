#include "simulator/models/CorFpgaModel.h"

#include "simulator/models/WireBytes.h"

#include <algorithm>
#include <cmath>

namespace
{
// The registers that do something or describe the ping; all others only hold what was written.
constexpr std::uint16_t c_SampleCount = 16;
constexpr std::uint16_t c_CentreFrequency = 32;
constexpr std::uint16_t c_BasebandSubSample = 38;
constexpr std::uint16_t c_SubSampleRate = 52;
constexpr std::uint16_t c_SpeedA = 64;
constexpr std::uint16_t c_SpeedB = 65;
constexpr std::uint16_t c_FifoData = 80;
constexpr std::uint16_t c_ChirpLength = 512;

constexpr std::uint8_t c_CommandPing = 0x01;
constexpr std::uint8_t c_CommandElement = 0x02;
constexpr std::uint8_t c_CommandIdentify = 0x7C;

constexpr std::size_t c_SampleCountUnit = 16;
constexpr double c_FrontEndDivisor = 128;
constexpr double c_ClocksPerChirpEntry = 16;
constexpr double c_TuningWordRange = 4294967296.0;

constexpr double c_TicksPerMetre = 20;
} // namespace

const CPacketRegisterMap& CorRegisters()
{
    using enum RegisterAccess_T;
    // A value of several bytes is several registers wherever the device takes it byte by byte.
    static const CPacketRegisterMap c_Map({
        {"Command", PacketAddress::c_Command, 1, Write},
        {"Status", PacketAddress::c_Status, 1, Read},
        {"Version", PacketAddress::c_Version, 1, Read},
        {"AdcFrequency", 4, 1, Write},
        {"BoostLevel", 8, 1, Write},
        {"SampleCountLow", c_SampleCount, 1, Write},
        {"SampleCountHigh", c_SampleCount + 1, 1, Write},
        {"ChannelFilter", 18, 1, Write},
        {"OutputDataToLog", 24, 1, Write},
        {"CentreFrequency0", c_CentreFrequency, 1, Write},
        {"CentreFrequency1", c_CentreFrequency + 1, 1, Write},
        {"CentreFrequency2", c_CentreFrequency + 2, 1, Write},
        {"CentreFrequency3", c_CentreFrequency + 3, 1, Write},
        {"BasebandSelection", 36, 1, Write},
        {"BasebandScaling", 37, 1, Write},
        {"BasebandSubSample", c_BasebandSubSample, 1, Write},
        {"CorrelationLength", 48, 1, Write},
        {"CorrelationScaling", 50, 1, Write},
        {"CorrelationDownShift", 51, 1, Write},
        {"SubSampleRate", c_SubSampleRate, 1, Write},
        {"SubSampleMode", 53, 1, Write},
        {"SubSampleThreshold", 56, 2, Write},
        {"SpeedA", c_SpeedA, 1, Read},
        {"SpeedB", c_SpeedB, 1, Read},
        {"TransducerRead", 66, 1, Read},
        {"TransducerWrite", 67, 1, Write},
        {"FifoData", c_FifoData, 0, Stream},
        {"FifoControl", c_FifoData + PacketAddress::c_FifoControl, 1, Write},
        {"FifoStatus", c_FifoData + PacketAddress::c_FifoStatus, 1, Read},
        {"Sync", 96, 1, Write},
        {"TvgLengthLow", 256, 1, Write},
        {"TvgLengthHigh", 257, 1, Write},
        {"ChirpLengthLow", c_ChirpLength, 1, Write},
        {"ChirpLengthHigh", c_ChirpLength + 1, 1, Write},
        {"TvgTable", 0x3000, 2048, Table, 2},
        {"ChirpTable", 0x4000, 16384, Table, 4},
        {"CorrelationTable", 0x8000, 16384, Table, 4},
    });
    return c_Map;
}

CCorFpgaModel::CCorFpgaModel(const FpgaSetup_T& setup, double clockHz)
    : CPacketFpgaModel(setup, CorRegisters(), false), m_ClockHz(clockHz), m_WaterSpeed(setup.scene.waterSpeed)
{
}

std::string CCorFpgaModel::Command(std::uint8_t command)
{
    std::string effect;
    if ((command & c_CommandIdentify) != 0) {
        SetInterrupt(true);
        effect += " (identifies the transducer)";
    }
    if ((command & c_CommandPing) != 0) {
        const auto divisor = std::max(Value(c_BasebandSubSample, 1), 1U);
        const auto rate = std::max(Value(c_SubSampleRate, 1), 1U);
        const EchoSettings_T settings{.interval = c_FrontEndDivisor * divisor * rate / m_ClockHz,
                                      .samples = Value(c_SampleCount, 2) * c_SampleCountUnit,
                                      .frequency =
                                          Value(c_CentreFrequency, 4) * m_ClockHz / c_TuningWordRange,
                                      .pulse = Value(c_ChirpLength, 2) * c_ClocksPerChirpEntry / m_ClockHz,
                                      .channel = (command & c_CommandElement) != 0 ? 1U : 0U};
        effect += FirePing(c_FifoData, settings);
    }
    return effect;
}

void CCorFpgaModel::BeforeRead(std::uint16_t address)
{
    if (address != c_SpeedA) {
        return;
    }
    ++m_BetweenReadings;
    const std::chrono::duration<double> time = m_BetweenReadings + TimeOnLink();
    const double ticks = std::fmod(std::floor(m_WaterSpeed * c_TicksPerMetre * time.count()), 65536);
    const auto count = static_cast<std::uint32_t>(ticks);
    SetInput(c_SpeedA, count & 0xFF);
    SetInput(c_SpeedB, count >> 8);
}
