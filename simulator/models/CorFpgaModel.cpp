#include "simulator/models/CorFpgaModel.h"

#include "simulator/models/WireBytes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace
{
// The registers that do something or describe the ping; all others only hold what was written.
constexpr std::uint16_t c_AdcFrequency = 4;
constexpr std::uint16_t c_BoostLevel = 8;
constexpr std::uint16_t c_SampleCount = 16;
constexpr std::uint16_t c_ChannelFilter = 18;
constexpr std::uint16_t c_CentreFrequency = 32;
constexpr std::uint16_t c_BasebandSelection = 36;
constexpr std::uint16_t c_BasebandScaling = 37;
constexpr std::uint16_t c_BasebandSubSample = 38;
constexpr std::uint16_t c_CorrelationLength = 48;
constexpr std::uint16_t c_CorrelationScaling = 50;
constexpr std::uint16_t c_CorrelationDownShift = 51;
constexpr std::uint16_t c_SubSampleRate = 52;
constexpr std::uint16_t c_SpeedA = 64;
constexpr std::uint16_t c_SpeedB = 65;
constexpr std::uint16_t c_FifoData = 80;
constexpr std::uint16_t c_TvgLength = 256;
constexpr std::uint16_t c_ChirpLength = 512;

constexpr std::uint16_t c_TvgTable = 0x3000;
constexpr std::size_t c_TvgTableSize = 2048;
constexpr std::uint16_t c_ChirpTable = 0x4000;
constexpr std::size_t c_ChirpTableSize = 16384;
constexpr std::uint16_t c_CorrelationTable = 0x8000;
constexpr std::size_t c_CorrelationTableSize = 16384;

constexpr std::uint8_t c_CommandPing = 0x01;
constexpr std::uint8_t c_CommandElement = 0x02;
constexpr std::uint8_t c_CommandIdentify = 0x7C;

constexpr std::size_t c_SampleCountUnit = 16;
constexpr std::size_t c_TvgEntry = 2;
constexpr std::size_t c_ChirpEntry = 4;
constexpr std::size_t c_CorrelationLengthUnit = 2048; // bytes
constexpr double c_TuningWordRange = 4294967296.0;

// Assumptions about the hardware, see docs/scene.md.
constexpr double c_AdcStepHz = 17'312'000; // the converter's clock is this x (code + 2)
constexpr double c_FrontEndDivisor = 128;
constexpr double c_ChirpClockHz = 1'000'000; // entries a second
constexpr double c_ChirpFullScale = 1023;
constexpr double c_ChirpTurn = 65536;
constexpr unsigned int c_ReferenceBoost = 1;
constexpr int c_ReferenceScaling = 3;
constexpr int c_ReferenceSelection = 1;
constexpr double c_ReferenceDivisor = 4;
constexpr double c_ReferenceGain = 0.08; // with which a bottom is well below full scale
constexpr unsigned int c_ShiftBits = 31;
constexpr std::uint32_t c_DivisorOfZero = 256; // as of a counter with 8 bits

/// A receive band: what selects it in the channel filter, and its transducer.
struct Band_T {
    unsigned int bit;    ///< that is 0
    unsigned int number; ///< on a large FPGA
    double frequency;
    double gain;
};
constexpr std::array<Band_T, 3> c_Bands{{{0x08, 2, 50e3, 0.25}, {0x10, 1, 100e3, 0.5}, {0x20, 0, 200e3, 1}}};

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
        {"AdcFrequency", c_AdcFrequency, 1, Write},
        {"BoostLevel", c_BoostLevel, 1, Write},
        {"SampleCountLow", c_SampleCount, 1, Write},
        {"SampleCountHigh", c_SampleCount + 1, 1, Write},
        {"ChannelFilter", c_ChannelFilter, 1, Write},
        {"OutputDataToLog", 24, 1, Write},
        {"CentreFrequency0", c_CentreFrequency, 1, Write},
        {"CentreFrequency1", c_CentreFrequency + 1, 1, Write},
        {"CentreFrequency2", c_CentreFrequency + 2, 1, Write},
        {"CentreFrequency3", c_CentreFrequency + 3, 1, Write},
        {"BasebandSelection", c_BasebandSelection, 1, Write},
        {"BasebandScaling", c_BasebandScaling, 1, Write},
        {"BasebandSubSample", c_BasebandSubSample, 1, Write},
        {"CorrelationLength", c_CorrelationLength, 1, Write},
        {"CorrelationScaling", c_CorrelationScaling, 1, Write},
        {"CorrelationDownShift", c_CorrelationDownShift, 1, Write},
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
        {"TvgLengthLow", c_TvgLength, 1, Write},
        {"TvgLengthHigh", c_TvgLength + 1, 1, Write},
        {"ChirpLengthLow", c_ChirpLength, 1, Write},
        {"ChirpLengthHigh", c_ChirpLength + 1, 1, Write},
        {"TvgTable", c_TvgTable, c_TvgTableSize, Table, c_TvgEntry},
        {"ChirpTable", c_ChirpTable, c_ChirpTableSize, Table, c_ChirpEntry},
        {"CorrelationTable", c_CorrelationTable, c_CorrelationTableSize, Table, 4},
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
        effect += FirePing(c_FifoData, Settings((command & c_CommandElement) != 0 ? 1 : 0));
    }
    return effect;
}

EchoSettings_T CCorFpgaModel::Settings(unsigned int element) const
{
    const auto divisorIn = [this](std::uint16_t address) {
        const std::uint32_t value = Value(address, 1);
        return value == 0 ? c_DivisorOfZero : value;
    };
    const std::uint32_t divisor = divisorIn(c_BasebandSubSample);
    const double sampling = c_AdcStepHz * (Value(c_AdcFrequency, 1) + 2) / c_FrontEndDivisor / divisor;
    const double centre = Value(c_CentreFrequency, 4) * m_ClockHz / c_TuningWordRange;
    const Chirp_T chirp = ReadChirp();
    const FilterMatch_T match = Match(chirp, centre, divisor);
    const int selection = static_cast<int>(Value(c_BasebandSelection, 1) & c_ShiftBits);
    const int scaling = static_cast<int>(Value(c_BasebandScaling, 1) & c_ShiftBits);
    const int downShift = static_cast<int>(Value(c_CorrelationDownShift, 1) & c_ShiftBits);
    return {.interval = divisorIn(c_SubSampleRate) / sampling,
            .samples = Value(c_SampleCount, 2) * c_SampleCountUnit,
            .frequency = chirp.frequency,
            .pulse = chirp.level > 0 ? static_cast<double>(chirp.wave.size()) / c_ChirpClockHz : 0,
            .transmit = chirp.level * BoostGain(Value(c_BoostLevel, 1), c_ReferenceBoost),
            .echoes = c_ReferenceGain * match.level * (divisor / c_ReferenceDivisor) *
                      TransducerGain(element, chirp.frequency) *
                      BandGain(chirp.frequency, centre, std::ldexp(sampling, -selection)),
            .noise = std::exp2((c_ReferenceSelection - selection) / 2.0),
            .all = std::ldexp(match.sum * Value(c_CorrelationScaling, 1),
                              scaling - c_ReferenceScaling - downShift),
            .spread = (1 - match.coherence) * static_cast<double>(chirp.wave.size()) / c_ChirpClockHz,
            .gains = ReadGains(Tables(
                c_TvgTable, std::min<std::size_t>(c_TvgEntry * Value(c_TvgLength, 2), c_TvgTableSize))),
            .channel = element};
}

CCorFpgaModel::Chirp_T CCorFpgaModel::ReadChirp() const
{
    const std::size_t entries =
        std::min<std::size_t>(Value(c_ChirpLength, 2), c_ChirpTableSize / c_ChirpEntry);
    const ByteView_T table = Tables(c_ChirpTable, entries * c_ChirpEntry);
    Chirp_T chirp;
    double amplitudes = 0;
    double turns = 0;
    for (std::size_t at = 0; at < table.size(); at += c_ChirpEntry) {
        const double amplitude =
            std::min(static_cast<double>(GetLittleEndian(table, at, 2)) / c_ChirpFullScale, 1.0);
        const double advance =
            FrequencyFactor() * static_cast<double>(GetLittleEndian(table, at + 2, 2)) / c_ChirpTurn;
        chirp.wave.push_back(std::polar(amplitude, 2 * std::numbers::pi * (turns + advance / 2)));
        turns += advance;
        chirp.level = std::max(chirp.level, amplitude);
        amplitudes += amplitude;
        chirp.frequency += amplitude * advance * c_ChirpClockHz;
    }
    if (chirp.level > 0) {
        chirp.frequency /= amplitudes;
        std::ranges::for_each(chirp.wave, [&](std::complex<double>& value) { value /= chirp.level; });
    }
    return chirp;
}

/// The filter's first coefficient meets the end of the pulse.
FilterMatch_T CCorFpgaModel::Match(const Chirp_T& chirp, double centre, std::size_t divisor) const
{
    const std::size_t size =
        std::min((Value(c_CorrelationLength, 1) + 1) * c_CorrelationLengthUnit, c_CorrelationTableSize);
    const Wave_T taps = ReadTaps(Tables(c_CorrelationTable, size));
    Wave_T pulse;
    for (std::size_t i = 0; i < taps.size(); ++i) {
        const std::size_t back = divisor * i + divisor / 2 + 1;
        if (back > chirp.wave.size()) {
            pulse.emplace_back(0);
        } else {
            const std::size_t entry = chirp.wave.size() - back;
            const double turns = (static_cast<double>(entry) + 0.5) * centre / c_ChirpClockHz;
            pulse.push_back(chirp.wave[entry] * std::polar(1.0, -2 * std::numbers::pi * turns));
        }
    }
    return MatchOf(taps, pulse);
}

/// What the transducer gives that the channel filter selects. If it selects no band, or another element than
/// that which transmits, little is heard.
double CCorFpgaModel::TransducerGain(unsigned int element, double frequency) const
{
    constexpr unsigned int c_Elements = 0x03;
    constexpr unsigned int c_AllBands = 0x38;
    const std::uint32_t filter = Value(c_ChannelFilter, 1);
    const bool isLarge = m_ClockHz == c_CorFastClockHz;
    const auto band = std::ranges::find_if(c_Bands, [&](const Band_T& row) {
        return isLarge ? row.number == filter : row.bit == (~filter & c_AllBands);
    });
    const bool isElement = isLarge || (~filter & c_Elements) == (element == 1 ? 1U : 2U);
    if (band == c_Bands.end()) {
        return c_NeighbourGain;
    }
    return (isElement ? 1 : c_NeighbourGain) * band->gain *
           BandGain(frequency, band->frequency, c_TransducerBand * band->frequency);
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
