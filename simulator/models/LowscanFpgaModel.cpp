#include "simulator/models/LowscanFpgaModel.h"

#include "simulator/ValueText.h"
#include "simulator/models/Reception.h"
#include "simulator/models/SpiDeviceModel.h"
#include "simulator/models/WireBytes.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <span>

namespace
{
/// A register and the bits that it has.
struct LowscanRegister_T {
    std::string_view name;
    std::uint16_t address;
    std::uint32_t bits;
};

// Each channel's registers are eight addresses above those of the channel before.
constexpr std::uint16_t c_PulseA = 17;
constexpr std::uint16_t c_PulseB = 18;
constexpr std::uint16_t c_SamplingA = 33;
constexpr std::uint16_t c_SamplingB = 37;
constexpr std::uint16_t c_Gain = 34;
constexpr std::uint16_t c_ColourGain = 35;
constexpr std::uint16_t c_Boost = 65;
constexpr std::uint16_t c_AnalogueGain = 66;
constexpr std::uint16_t c_ChannelStep = 8;
constexpr std::uint32_t c_BoostIsOn = 0x80000000;

constexpr std::array<LowscanRegister_T, 14> c_Registers{{
    {"Ch0.PulseA", c_PulseA, 0xFFFFFFFF},
    {"Ch0.PulseB", c_PulseB, 0x83FF0000},
    {"Ch1.PulseA", c_PulseA + c_ChannelStep, 0xFFFFFFFF},
    {"Ch1.PulseB", c_PulseB + c_ChannelStep, 0x83FF0000},
    {"Ch0.SamplingA", c_SamplingA, 0xFFFF0001},
    {"Ch0.Gain", c_Gain, 0x00000FFF},
    {"Ch0.ColourGain", c_ColourGain, 0x00000FFF},
    {"Ch0.SamplingB", c_SamplingB, 0xFFFFFFFF},
    {"Ch1.SamplingA", c_SamplingA + c_ChannelStep, 0xFFFF0001},
    {"Ch1.Gain", c_Gain + c_ChannelStep, 0x00000FFF},
    {"Ch1.ColourGain", c_ColourGain + c_ChannelStep, 0x00000FFF},
    {"Ch1.SamplingB", c_SamplingB + c_ChannelStep, 0xFFFFFFFF},
    {"Boost", c_Boost, c_BoostIsOn | 0xFF},
    {"AnalogueGain", c_AnalogueGain, 0x000000FF},
}};

constexpr double c_SampleInterval = 2 * 0.0003562607 / 1500; // seconds, undecimated
constexpr double c_SamplesPerPeriodUnit = 16;
constexpr double c_HzPerStartUnit = 1 / (1.051682297 * 0.0131072);
constexpr double c_HzPerSweepUnit = 1 / (1.051682297 * 1.6777); // of each unit of the period
constexpr std::uint32_t c_SweepFalls = 0x80000000;
constexpr std::uint32_t c_PeriodBits = 0x3FF;

constexpr double c_GainUnit = 1.0 / 16; // dB
constexpr double c_ColourGainUnit = 1.0 / 1024;

// Assumptions about the hardware, see docs/scene.md.
constexpr double c_Transducer = 200e3;
constexpr unsigned int c_ReferenceBoost = 181;
constexpr double c_ReferenceGain = 20; // dB

constexpr std::size_t c_BlockSamples = 128;
constexpr std::size_t c_BlockWidth = c_BlockSamples + 4;
constexpr std::size_t c_LeadingBytes = 2;
constexpr std::size_t c_TrailingBytes = 1;
constexpr std::size_t c_LongestPacket = 1059;

/// Peak and mean of a whole block on the linear scale, 12 bits each in the upper part of 16.
void PutValues(Bytes_T& packet, std::span<const std::uint16_t> block)
{
    constexpr std::uint32_t c_LinearFullScale = 65535;
    constexpr std::uint32_t c_SquareOfFullScale = 255 * 255;
    const auto square = [](std::uint32_t sample) { return sample * sample; };
    const std::uint32_t peak = square(*std::ranges::max_element(block));
    const std::uint32_t sum = std::transform_reduce(block.begin(), block.end(), 0U, std::plus{}, square);
    for (const std::uint64_t value : {std::uint64_t{peak}, std::uint64_t{sum} / c_BlockSamples}) {
        PutBigEndian(packet,
                     static_cast<std::uint32_t>(value * c_LinearFullScale / c_SquareOfFullScale) & 0xFFF0, 2);
    }
}
} // namespace

CLowscanFpgaModel::CLowscanFpgaModel(const FpgaSetup_T& setup)
    : m_Firmware(setup), m_Scene(setup.scene), m_Echo(setup.scene, setup.truth)
{
}

void CLowscanFpgaModel::SetRegister(std::uint16_t address, std::uint32_t value, DeviceOutcome_T& outcome)
{
    const auto row = std::ranges::find(c_Registers, address, &LowscanRegister_T::address);
    if (row == c_Registers.end()) {
        outcome.refusals.push_back("write to unknown register " + HexText(address, 4));
        return;
    }
    const std::string what = std::string(row->name) + "=" + HexText(value, 8);
    if ((value & ~row->bits) != 0) {
        outcome.refusals.push_back(what + " has unknown bits");
        return;
    }
    AppendMeaning(outcome.meaning, what);
    if (Silence().empty()) {
        m_Registers[address] = value;
    }
}

std::uint32_t CLowscanFpgaModel::Register(std::uint16_t address) const
{
    const auto found = m_Registers.find(address);
    return found != m_Registers.end() ? found->second : 0;
}

void CLowscanFpgaModel::Ping(DeviceOutcome_T& outcome)
{
    AppendMeaning(outcome.meaning, "ping");
    for (std::size_t channel = 0; channel < c_Channels && Silence().empty(); ++channel) {
        m_Packets[channel] = PingChannel(channel);
        if (!m_Packets[channel].empty()) {
            outcome.meaning += " channel " + std::to_string(channel);
        }
    }
}

/// The channel's packet, empty when the channel is idle.
Bytes_T CLowscanFpgaModel::PingChannel(std::size_t channel)
{
    const auto value = [&](std::uint16_t address) {
        return Register(static_cast<std::uint16_t>(address + channel * c_ChannelStep));
    };
    const std::uint32_t period = value(c_PulseB) >> 16 & c_PeriodBits;
    if (period == 0) {
        return {};
    }
    const double decimation = std::max(value(c_SamplingA) >> 16, 1U);
    const double interval = c_SampleInterval * decimation;
    const double pulse = period * c_SamplesPerPeriodUnit * c_SampleInterval;
    const double factor = m_Echo.Unit().frequency;
    const double sweep = factor * (value(c_PulseA) >> 16) * period * c_HzPerSweepUnit;
    const double middle = factor * (value(c_PulseA) & 0xFFFF) * c_HzPerStartUnit +
                          ((value(c_PulseB) & c_SweepFalls) != 0 ? -sweep : sweep) / 2;
    const std::uint32_t boost = Register(c_Boost);
    const auto samples =
        m_Echo.Ping({.interval = interval,
                     .samples = value(c_SamplingB) & 0xFFFF,
                     .start = (value(c_SamplingB) >> 16) * interval,
                     .frequency = middle,
                     .pulse = pulse,
                     .transmit = BoostGain((boost & c_BoostIsOn) != 0 ? boost & 0xFF : 0, c_ReferenceBoost),
                     .echoes = Amplitude(Register(c_AnalogueGain) - c_ReferenceGain) *
                               BandGain(middle, c_Transducer, c_TransducerBand * c_Transducer),
                     .all = Amplitude(value(c_Gain) * c_GainUnit) * value(c_ColourGain) * c_ColourGainUnit,
                     .spread = std::max((sweep * pulse > 1 ? 1 / sweep : pulse) - 2 * interval, 0.0),
                     .bits = 8,
                     .channel = static_cast<unsigned int>(channel)});
    Bytes_T packet(c_LeadingBytes, 0);
    for (std::span<const std::uint16_t> rest = samples; !rest.empty();) {
        const auto block = rest.first(std::min(c_BlockSamples, rest.size()));
        std::ranges::transform(block, std::back_inserter(packet),
                               [](std::uint16_t sample) { return static_cast<std::uint8_t>(sample); });
        if (block.size() == c_BlockSamples) {
            PutValues(packet, block);
        }
        rest = rest.subspan(block.size());
    }
    packet.resize(packet.size() + c_TrailingBytes);
    return packet;
}

bool CLowscanFpgaModel::IsPacketSize(std::size_t size)
{
    constexpr std::size_t c_FrameBytes = c_LeadingBytes + c_TrailingBytes;
    return size >= c_FrameBytes && size <= c_LongestPacket &&
           (size - c_FrameBytes) % c_BlockWidth < c_BlockSamples;
}

Bytes_T CLowscanFpgaModel::TakePacket(std::size_t channel)
{
    return std::exchange(m_Packets.at(channel), {});
}

void CLowscanFpgaModel::ReportVersion(std::size_t size, DeviceOutcome_T& outcome) const
{
    AppendMeaning(outcome.meaning, "report version");
    outcome.reply = {0, 0, m_Firmware.Version(), 0};
    outcome.reply.resize(size);
    outcome.replyMeaning = "version " + std::to_string(m_Firmware.Version()) + ".0";
}

Bytes_T CLowscanFpgaModel::AdcReadings() const
{
    constexpr std::size_t c_ReadingWidth = 3;
    const WaterAdc_T readings = ReadWaterAdc(m_Scene);
    Bytes_T bytes;
    for (const std::uint32_t reading : {readings.reference, readings.water, readings.sense}) {
        PutBigEndian(bytes, reading, c_ReadingWidth);
    }
    return bytes;
}

DeviceOutcome_T CLowscanFpgaModel::TakeImage(ByteView_T bytes)
{
    DeviceOutcome_T outcome;
    // Firmware comes over SPI on every link.
    outcome.linkTime = CSpiDeviceModel::LinkTime(bytes.size());
    CFpgaFirmware::Taken_T taken = m_Firmware.Take(bytes);
    outcome.meaning = std::move(taken.meaning);
    if (taken.hasRestarted) {
        m_Registers.clear();
        m_Packets = {};
    }
    return outcome;
}
