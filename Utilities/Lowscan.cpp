#include "Utilities/Lowscan.h"

#include "Utilities/Endian.h"
#include "Utilities/IOSSFile.h"
#include "Utilities/Saturate.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <poll.h>
#include <vector>

namespace
{
/// Address of a register on channel 0 and on channel 1.
using Row_T = std::array<std::uint16_t, 2>;
constexpr Row_T c_PulseA{17, 25};     ///< start frequency; sweep rate in the high half
constexpr Row_T c_PulseB{18, 26};     ///< direction of the sweep; period
constexpr Row_T c_SamplingA{33, 41};  ///< enable; decimation rate in the high half
constexpr Row_T c_Gain{34, 42};       ///< units of 1/16
constexpr Row_T c_ColourGain{35, 43}; ///< units of 1/1024
constexpr Row_T c_SamplingB{37, 45};  ///< first value; second value in the high half
constexpr std::uint16_t c_Boost = 65;
constexpr std::uint16_t c_AnalogueGain = 66;

constexpr unsigned int c_HighHalf = 16;
constexpr std::uint32_t c_LowHalfMask = 0xFFFF;
constexpr std::uint32_t c_PeriodMask = 0x3FF;
constexpr std::uint32_t c_TopBit = 0x80000000;
constexpr std::uint32_t c_LargestGainWord = 4095;

// Units of frequency and sweep. The last two are the single-precision values nearest 0.0131072 and 1.6777;
// all their digits count.
constexpr double c_ClockCorrection = 1.051682297;
constexpr double c_StartUnitsPerHz = 0.013107200153172016;
constexpr double c_SweepUnitsPerHz = 1.6777000427246094;

// Ping packet: blocks of samples, each followed by its two values.
constexpr std::size_t c_LeadingBytes = 2;
constexpr std::size_t c_TrailingBytes = 1;
constexpr std::size_t c_BlockSamples = 128;
constexpr std::size_t c_ValueSize = 2;
constexpr std::size_t c_BlockSize = c_BlockSamples + 2 * c_ValueSize;
constexpr unsigned int c_ValueShift = 4; ///< 12 bits at the top of 16
static_assert(sizeof(float) == 4);
static_assert(sizeof(LSPingReturnPacket_T) ==
              c_LeadingBytes + c_MaxSamplesFromLowscanFPGA / c_BlockSamples * c_BlockSize + c_TrailingBytes);

constexpr std::size_t c_VersionOffset = 2;
constexpr int c_ReplyTimeoutMs = 1000;

/// The nearest whole number of units.
std::uint32_t Rounded(double units) { return SaturateToUnsigned(units + 0.5); }

void PutFloat(const Buffer_Bytes_T& buffer, std::size_t index, std::uint32_t whole)
{
    const auto value = static_cast<float>(whole);
    std::memcpy(buffer.data() + index * sizeof(value), &value, sizeof(value));
}

/// All six registers of a channel, in the order of a set-up.
std::array<LSRegisterValue_T, 6> ChannelRegisters(const LSChannelConfigure_T& block)
{
    const auto pulse = PulseRegisters(block.channel, block.period, block.startFrequency, block.endFrequency);
    const auto sampling =
        SamplingRegisters(block.channel, block.samplesA, block.samplesB, block.decimationRate);
    const auto gain = GainRegisters(block.channel, block.gain, block.colourGain);
    return {pulse[0], pulse[1], sampling[0], sampling[1], gain[0], gain[1]};
}
} // namespace

SetRegisterData_T RegisterRecord(unsigned short address, unsigned int value)
{
    constexpr std::size_t addressSize = 2;
    SetRegisterData_T record{};
    PutBigEndian(record.data(), addressSize, address);
    PutBigEndian(record.data() + addressSize, record.size() - addressSize, value);
    return record;
}

LSRegisterPair_T PulseRegisters(LSChannel_T Channel, LSPeriod_T Period, LSFrequency_Hz_T StartFrequency,
                                LSFrequency_Hz_T EndFrequency)
{
    assert(Period != c_PeriodUnknown);
    assert((Channel == c_Channel0) || (Channel == c_Channel1));
    const double start = StartFrequency * c_ClockCorrection;
    const double sweep = EndFrequency * c_ClockCorrection - start;
    const std::uint32_t startWord = Rounded(start * c_StartUnitsPerHz);
    // A quiet channel's period of 0 gives the largest rate, or none without a sweep.
    const std::uint32_t rateWord = Rounded(std::abs(sweep) * c_SweepUnitsPerHz / Period);
    return {{{c_PulseA[Channel], (startWord & c_LowHalfMask) | rateWord << c_HighHalf},
             {c_PulseB[Channel], (sweep < 0 ? c_TopBit : 0) | (Period & c_PeriodMask) << c_HighHalf}}};
}

LSRegisterPair_T SamplingRegisters(LSChannel_T Channel, LSFpgaSamples_T SamplesA, LSFpgaSamples_T SamplesB,
                                   LSDecimationRate_T Decimation)
{
    assert(((Channel == c_Channel0) || (Channel == c_Channel1)));
    return {{{c_SamplingA[Channel], 1 | Decimation << c_HighHalf},
             {c_SamplingB[Channel], SamplesA | SamplesB << c_HighHalf}}};
}

LSRegisterPair_T GainRegisters(LSChannel_T Channel, LSGain_T Gain, LSColourGain_T ColourGain)
{
    assert((Channel == c_Channel0) || (Channel == c_Channel1));
    return {{{c_Gain[Channel], std::min(Rounded(Gain * 16), c_LargestGainWord)},
             {c_ColourGain[Channel], std::min(Rounded(ColourGain * 1024), c_LargestGainWord)}}};
}

LSRegisterValue_T AnalogueGainRegister(unsigned char level) { return {c_AnalogueGain, level}; }

LSRegisterValue_T BoostRegister(unsigned char level, bool enable)
{
    return {c_Boost, level | (enable ? c_TopBit : 0)};
}

CLowscan::CLowscan(const char* ClassName, const std::string& SerialDevicePath, IOSSFactory* pFactory)
    : CFPGALink(ClassName, "UART", SerialDevicePath, pFactory) // in messages, on either link
{
}

// The factory hands its files over by raw pointer.
CLowscan::~CLowscan() { delete m_SerialPort; }

TSQEventCode_T CLowscan::SetConfiguration(const LSFpgaCompleteConfigure_T& config)
{
    for (const LSChannelConfigure_T* pChannel : {&config.channel0, &config.channel1}) {
        if (const TSQEventCode_T result = SetRegisters(ChannelRegisters(*pChannel)); result != c_Success) {
            return result;
        }
    }
    return SetRegisters(std::array{AnalogueGainRegister(config.analogueGainLevel),
                                   BoostRegister(config.boostLevel, config.boostEnable != 0)});
}

TSQEventCode_T CLowscan::Echo(const std::string& text)
{
    std::vector<std::uint8_t> bytes(text.c_str(), text.c_str() + text.size() + 1);
    Buffer_Bytes_T buffer(bytes.data(), bytes.size());
    return SendData(&buffer);
}

TSQEventCode_T CLowscan::ReceiveData(Buffer_Bytes_T* Buffer)
{
    const std::size_t bytesWanted = Buffer->size();
    assert(bytesWanted <= sizeof(LSPingReturnPacket_T));
    m_ErrorCode = c_Success;
    LSPingReturnPacket_T storage{};
    Buffer_Bytes_T staging(storage.data(), bytesWanted);
    std::size_t got = 0;
    std::size_t reads = 0;
    bool bArrives = true;
    while (got < bytesWanted) {
        if (m_SerialPort->Poll(POLLIN, c_ReplyTimeoutMs) < 1 || !bArrives) {
            m_ErrorCode = c_ReceiveShortfall;
            ReportError(m_ErrorCode, "ReceiveData",
                        "Error on UART " + m_DevicePath + "Only Got " + std::to_string(got) + " out of " +
                            std::to_string(bytesWanted) + " after " + std::to_string(reads) + " reads");
            break;
        }
        // A read sets the buffer's size to its count, so the next read asks for no more than that. A line
        // that hung up is always ready and gives nothing: it counts as a failed read.
        bArrives = m_SerialPort->Read(&staging) && staging.size() != 0;
        const std::size_t count = bArrives ? staging.size() : 0;
        std::copy_n(storage.data(), std::min(count, Buffer->capacity() - got), Buffer->data() + got);
        got += count;
        ++reads;
    }
    Buffer->size(got);
    return m_ErrorCode;
}

TSQEventCode_T CLowscan::ReceiveVersion(std::size_t replySize, SWVersion_T* pVersion)
{
    std::vector<std::uint8_t> bytes(replySize);
    Buffer_Bytes_T reply(bytes.data(), bytes.size());
    if (ReceiveData(&reply) == c_Success) {
        *pVersion = {bytes[c_VersionOffset], bytes[c_VersionOffset + 1]};
    }
    return m_ErrorCode;
}

std::size_t CLowscan::PingPacketSize(const Buffer_Bytes_T& samples)
{
    const std::size_t numberOfSamplesToGet = samples.size() / sizeof(float);
    const std::size_t sizeOfRxBuffer = c_LeadingBytes + numberOfSamplesToGet / c_BlockSamples * c_BlockSize +
                                       numberOfSamplesToGet % c_BlockSamples + c_TrailingBytes;
    assert(sizeOfRxBuffer <= sizeof(LSPingReturnPacket_T));
    assert(numberOfSamplesToGet <= c_MaxSamplesFromLowscanFPGA);
    return sizeOfRxBuffer;
}

TSQEventCode_T CLowscan::ReceivePing(Buffer_Bytes_T* pSamples, Buffer_Bytes_T* pValues)
{
    LSPingReturnPacket_T packet{};
    Buffer_Bytes_T reply(packet.data(), packet.size());
    // A burst may bring more than the packet that was asked for; the room is that of the largest packet.
    reply.size(PingPacketSize(*pSamples));
    if (ReceiveData(&reply) != c_Success) {
        return m_ErrorCode;
    }
    const std::size_t samples = pSamples->size() / sizeof(float);
    const std::uint8_t* pBlock = packet.data() + c_LeadingBytes;
    for (std::size_t done = 0, value = 0; done < samples; done += c_BlockSamples, pBlock += c_BlockSize) {
        for (std::size_t at = 0; at < std::min(samples - done, c_BlockSamples); ++at) {
            PutFloat(*pSamples, done + at, pBlock[at]);
        }
        // A partial block keeps its value pair at the offset of a full block, even beyond the packet's end.
        for (std::size_t at = c_BlockSamples; at < c_BlockSize; at += c_ValueSize) {
            PutFloat(*pValues, value++, GetBigEndian(pBlock + at, c_ValueSize) >> c_ValueShift);
        }
    }
    return c_Success;
}
