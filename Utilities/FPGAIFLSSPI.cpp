#include "Utilities/FPGAIFLSSPI.h"

#include "Utilities/Endian.h"
#include "Utilities/IOSSFile.h"

#include <cassert>
#include <utility>

namespace
{
// First byte of every request.
constexpr std::uint8_t c_PingNow = 0x01;
constexpr std::uint8_t c_ReadVersion = 0x03;
constexpr std::uint8_t c_RegisterBlock = 0x04;
constexpr std::uint8_t c_ReadAdc = 0x05;
constexpr std::uint8_t c_ReadPingChannel0 = 0x10;
constexpr std::uint8_t c_ReadPingChannel1 = 0x11;

constexpr std::size_t c_AdcRequestSize = 10;
constexpr std::size_t c_AdcReadingSize = 3;
constexpr std::size_t c_VersionReplySize = 4;
} // namespace

CFPGAIFLSSPI::CFPGAIFLSSPI(const std::string& SerialDevicePath, IOSSFactory* pFactory)
    : CLowscan("CFPGAIFLSSPI", SerialDevicePath, pFactory)
{
    assert(pFactory && "No Factory Passed to CFPGAIFLSSPI");
    assert(SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFLSSPI");
    OpenDevice();
    assert(m_SerialPort);
    ConfigureSpi();
}

TSQEventCode_T CFPGAIFLSSPI::SetRegister(SetRegisterData_T* record, unsigned short address,
                                         unsigned int value)
{
    m_ErrorCode = c_Success;
    *record = RegisterRecord(address, value);
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSSPI::FillRecords(SetRegisterData_T* pRecords,
                                         std::span<const LSRegisterValue_T> registers)
{
    for (const LSRegisterValue_T& next : registers) {
        SetRegister(pRecords++, next.address, next.value);
    }
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSSPI::SetPulse(SetRegisterData_T* records, LSChannel_T Channel, LSPeriod_T Period,
                                      LSFrequency_Hz_T StartFrequency, LSFrequency_Hz_T EndFrequency)
{
    return FillRecords(records, PulseRegisters(Channel, Period, StartFrequency, EndFrequency));
}

TSQEventCode_T CFPGAIFLSSPI::SetSampling(SetRegisterData_T* records, LSChannel_T Channel,
                                         LSFpgaSamples_T SamplesA, LSFpgaSamples_T SamplesB,
                                         LSDecimationRate_T Rate)
{
    return FillRecords(records, SamplingRegisters(Channel, SamplesA, SamplesB, Rate));
}

TSQEventCode_T CFPGAIFLSSPI::SetGainAndColourGain(SetRegisterData_T* records, LSChannel_T Channel,
                                                  LSGain_T Gain, LSColourGain_T ColourGain)
{
    return FillRecords(records, GainRegisters(Channel, Gain, ColourGain));
}

TSQEventCode_T CFPGAIFLSSPI::SetAnalogueGainLevel(SetRegisterData_T* record, unsigned char level)
{
    return FillRecords(record, std::array{AnalogueGainRegister(level)});
}

TSQEventCode_T CFPGAIFLSSPI::SetBoostLevel(SetRegisterData_T* record, unsigned char level, bool enable)
{
    return FillRecords(record, std::array{BoostRegister(level, enable)});
}

TSQEventCode_T CFPGAIFLSSPI::SendRequest(std::vector<std::uint8_t> request)
{
    Buffer_Bytes_T buffer(request.data(), request.size());
    return SendData(&buffer);
}

TSQEventCode_T CFPGAIFLSSPI::SetRegisters(std::span<const LSRegisterValue_T> registers)
{
    for (const LSRegisterValue_T& next : registers) {
        const SetRegisterData_T record = RegisterRecord(next.address, next.value);
        m_SetUp.insert(m_SetUp.end(), record.begin(), record.end());
    }
    return c_Success;
}

TSQEventCode_T CFPGAIFLSSPI::setUpForPing(LSFpgaCompleteConfigure_T config)
{
    m_SetUp = {c_RegisterBlock};
    SetConfiguration(config);
    return SendRequest(m_SetUp);
}

TSQEventCode_T CFPGAIFLSSPI::PingNow() { return SendRequest({c_PingNow}); }

TSQEventCode_T CFPGAIFLSSPI::GetPing(LSChannel_T Channel, Buffer_Bytes_T* Samples, Buffer_Bytes_T* Values)
{
    std::vector<std::uint8_t> request(1 + PingPacketSize(*Samples));
    request.front() = Channel == c_Channel1 ? c_ReadPingChannel1 : c_ReadPingChannel0;
    SendRequest(std::move(request));
    return ReceivePing(Samples, Values);
}

TSQEventCode_T CFPGAIFLSSPI::GetADCReadings(LSADCReadings_T* Readings)
{
    std::vector<std::uint8_t> request(c_AdcRequestSize);
    request.front() = c_ReadAdc;
    SendRequest(std::move(request));
    std::array<std::uint8_t, 3 * c_AdcReadingSize> bytes{};
    Buffer_Bytes_T reply(bytes.data(), bytes.size());
    if (ReceiveData(&reply) == c_Success) {
        *Readings = {GetBigEndian(bytes.data(), c_AdcReadingSize),
                     GetBigEndian(bytes.data() + c_AdcReadingSize, c_AdcReadingSize),
                     GetBigEndian(bytes.data() + 2 * c_AdcReadingSize, c_AdcReadingSize)};
    }
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSSPI::GetVersion(SWVersion_T* Version)
{
    SendRequest({c_ReadVersion, 0x00, 0x00, 0xFF, 0xFF});
    return ReceiveVersion(c_VersionReplySize, Version);
}
