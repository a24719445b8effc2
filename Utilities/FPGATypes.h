#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// One register image as it travels to or from the FPGA. Each register has its own type, so that a byte for
/// one register cannot be passed to another.
template <class Tag, class Image>
struct FpgaRegister_T {
    Image value{};
};

using bFpgaCommandByte = FpgaRegister_T<struct FpgaCommandTag, std::uint8_t>;
using bFpgaStatusByte = FpgaRegister_T<struct FpgaStatusTag, std::uint8_t>;
using bLumetCommandByte = FpgaRegister_T<struct LumetCommandTag, std::uint8_t>;
using bLumetStatusByte = FpgaRegister_T<struct LumetStatusTag, std::uint8_t>;
using bFpgaPSUSyncRegister = FpgaRegister_T<struct FpgaPSUSyncTag, std::uint8_t>;
using bCorFifoCntrlByte = FpgaRegister_T<struct CorFifoCntrlTag, std::uint8_t>;
using bCorFifoStatusByte = FpgaRegister_T<struct CorFifoStatusTag, std::uint8_t>;
using FpgaChnlFltByte_T = FpgaRegister_T<struct FpgaChnlFltTag, std::uint8_t>;
using FpgaWifiLEDRegister_T = FpgaRegister_T<struct FpgaWifiLEDTag, std::uint16_t>;

/// Bits of bFpgaCommandByte and bLumetCommandByte that the program itself looks at.
inline constexpr std::uint8_t c_CommandStartPing = 0x01;
inline constexpr std::uint8_t c_CommandTransducerIdentification = 0x7C;

/// How the driver waits for the data of a Lumet ping; the program only ever uses mode 0.
enum class InterruptMode_T : int {};

/// Sub-sampling mode register; the program only ever writes mode 2.
enum class FpgaSubSampleMode_T : std::uint8_t {};

/// ADC frequency register: 2 on the QL4K and QL5K, 3 on the QL6M.
enum class eFpgaAdcFrequency_T : std::uint8_t { None = 0, QL4KAndQL5K = 2, QL6M = 3 };

/// Receive bands.
enum PingConfigRxBand_T : std::uint8_t {
    PingConfigRxBand_Auto = 0,
    PingConfigRxBand_LF = 1,
    PingConfigRxBand_MF = 2,
    PingConfigRxBand_HF = 3
};

/// Firmware version. On the SPI transports the second byte is always 0.
struct SWVersion_T {
    std::uint8_t major;
    std::uint8_t minor;
};

/// Paddle-wheel speed ticks.
struct FPGASpeedReading_T {
    std::uint32_t ticks;
};

/// One entry of the transmit chirp table: 32 bits on the wire, each half little-endian, first half first.
struct ChirpTableEntry_T {
    std::uint16_t first;
    std::uint16_t second;
};
static_assert(sizeof(ChirpTableEntry_T) == 4);

/// One entry of the time-varied-gain table: 16 bits on the wire, first byte first.
struct TVGTableEntry_T {
    std::uint8_t first;
    std::uint8_t second;
};
static_assert(sizeof(TVGTableEntry_T) == 2);

/// One correlation filter coefficient set: 32 bits on the wire, each half little-endian, first half first.
struct CorrelationFilterCoefficientSet_T {
    std::int16_t first;
    std::int16_t second;
};
static_assert(sizeof(CorrelationFilterCoefficientSet_T) == 4);

using ChirpTable_T = std::vector<ChirpTableEntry_T>;
using TVGTable_T = std::vector<TVGTableEntry_T>;
using CorrelationFilterCoefficients_T = std::vector<CorrelationFilterCoefficientSet_T>;

/// Correlation filter of one Lumet channel.
struct CorrelationFilterSettings_T {
    CorrelationFilterCoefficients_T coefficients;
    std::uint8_t downShift = 0;
    std::uint8_t scaling = 0;
};

/// Most entries that the FPGA's tables hold.
inline constexpr std::size_t Sizeof_TVGTable = 1024;
inline constexpr std::size_t Sizeof_CorrelationFilter = 4096;

/// A 24-bit ADC reading.
using CorFPGA24BitADCValue_T = std::uint32_t;
/// Number of 32-bit samples to receive.
using FpgaAdcSamples_T = std::uint32_t;
/// Transducer element index; 0 and other values select different FPGAs on the QL6M.
using XdcrElementIndex_T = std::uint8_t;

/// Receive channel of a Lumet FPGA: 1, or anything else for channel 0.
using FPGAChannel_T = std::uint8_t;
/// Lowscan channel, 0 or 1.
using LSChannel_T = std::uint8_t;
/// Pulse period in FPGA clock units; 0 keeps a channel quiet.
using LSPeriod_T = std::uint32_t;
using LSFrequency_Hz_T = double;
using LSFpgaSamples_T = std::uint32_t;
using LSDecimationRate_T = std::uint32_t;
using LSGain_T = double;
using LSColourGain_T = double;

/// Ping set-up of one Lowscan channel.
struct LSChannelConfigure_T {
    LSChannel_T channel;
    LSPeriod_T period;
    LSFrequency_Hz_T startFrequency;
    LSFrequency_Hz_T endFrequency;
    LSFpgaSamples_T samplesA; ///< number of samples
    LSFpgaSamples_T samplesB; ///< delay of the samples
    LSDecimationRate_T decimationRate;
    LSGain_T gain;
    LSColourGain_T colourGain;
    std::uint8_t analogueGainLevel;
};

/// Ping set-up of a whole Lowscan FPGA.
struct LSFpgaCompleteConfigure_T {
    LSChannelConfigure_T channel0;
    LSChannelConfigure_T channel1;
    std::uint8_t analogueGainLevel;
    std::uint8_t boostLevel;
    std::uint8_t boostEnable; ///< 0 or 1
};

/// Raw ADC readings of a Lowscan FPGA.
struct LSADCReadings_T {
    std::uint32_t reference;
    std::uint32_t waterTemperature;
    std::uint32_t third;
};
