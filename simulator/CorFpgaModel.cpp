#include "simulator/CorFpgaModel.h"

#include "simulator/WireBytes.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr std::uint8_t c_CommandPing = 0x01;
constexpr std::uint8_t c_CommandIdentify = 0x7C;

constexpr std::size_t c_SampleCountUnit = 16;
constexpr std::size_t c_SampleWidth = 2;
constexpr double c_FrontEndDivisor = 128;
constexpr double c_ClocksPerChirpEntry = 16;
constexpr double c_TuningWordRange = 4294967296.0;

constexpr double c_TicksPerMetre = 20;

} // namespace

CCorFpgaModel::CCorFpgaModel(const FpgaSetup_T& setup, double clockHz)
    : CPacketFpgaModel(setup,
                       {.map = CorRegisters(), .fifos = {CorAddress::c_FifoData}, .hasInterruptMode = false}),
      m_ClockHz(clockHz), m_WaterSpeed(setup.scene.waterSpeed)
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
        const auto divisor = std::max(Value(CorAddress::c_BasebandSubSample, 1), 1U);
        const auto rate = std::max(Value(CorAddress::c_SubSampleRate, 1), 1U);
        const EchoSettings_T settings{
            .interval = c_FrontEndDivisor * divisor * rate / m_ClockHz,
            .samples = Value(CorAddress::c_SampleCount, 2) * c_SampleCountUnit,
            .frequency = Value(CorAddress::c_CentreFrequency, 4) * m_ClockHz / c_TuningWordRange,
            .pulse = Value(CorAddress::c_ChirpLength, 2) * c_ClocksPerChirpEntry / m_ClockHz};
        effect += FirePing(CorAddress::c_FifoData, settings, [](Bytes_T& data, std::uint16_t sample) {
            PutLittleEndian(data, sample, c_SampleWidth);
        });
    }
    return effect;
}

void CCorFpgaModel::BeforeRead(std::uint16_t address)
{
    if (address != CorAddress::c_SpeedA) {
        return;
    }
    ++m_BetweenReadings;
    const std::chrono::duration<double> time = m_BetweenReadings + TimeOnLink();
    const double ticks = std::fmod(std::floor(m_WaterSpeed * c_TicksPerMetre * time.count()), 65536);
    const auto count = static_cast<std::uint32_t>(ticks);
    SetInput(CorAddress::c_SpeedA, count & 0xFF);
    SetInput(CorAddress::c_SpeedB, count >> 8);
}
