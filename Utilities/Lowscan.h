#pragma once

#include "Utilities/FPGALink.h"
#include "Utilities/FPGATypes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

inline constexpr LSChannel_T c_Channel0 = 0;
inline constexpr LSChannel_T c_Channel1 = 1;
inline constexpr LSPeriod_T c_PeriodUnknown = 0xFFFFFFFF;
/// Most samples that one ping gives.
inline constexpr std::size_t c_MaxSamplesFromLowscanFPGA = 1024;
/// The largest packet that answers a ping.
using LSPingReturnPacket_T = std::array<std::uint8_t, 1059>;

/// A register of the Lowscan FPGA and the value to set.
struct LSRegisterValue_T {
    std::uint16_t address;
    std::uint32_t value;
};
using LSRegisterPair_T = std::array<LSRegisterValue_T, 2>;

/// A register and its value as they travel on every Lowscan link: two and four bytes, high byte first.
using SetRegisterData_T = std::array<std::uint8_t, 6>;
SetRegisterData_T RegisterRecord(unsigned short address, unsigned int value);

/// Pulse A and B.
/// @param Period  FPGA clock units, of which 10 bits count; 0 keeps the channel quiet; not c_PeriodUnknown
LSRegisterPair_T PulseRegisters(LSChannel_T Channel, LSPeriod_T Period, LSFrequency_Hz_T StartFrequency,
                                LSFrequency_Hz_T EndFrequency);
/// Sampling A and B. The sample values and the rate have 16 bits each.
LSRegisterPair_T SamplingRegisters(LSChannel_T Channel, LSFpgaSamples_T SamplesA, LSFpgaSamples_T SamplesB,
                                   LSDecimationRate_T Decimation);
/// Gain, in steps of 1/16, and colour gain, in steps of 1/1024, each limited to 4,095 steps.
LSRegisterPair_T GainRegisters(LSChannel_T Channel, LSGain_T Gain, LSColourGain_T ColourGain);
LSRegisterValue_T AnalogueGainRegister(unsigned char level);
LSRegisterValue_T BoostRegister(unsigned char level, bool enable);

/// What the UART and the SPI link of a Lowscan FPGA have in common: the order of a ping set-up, receiving,
/// and decoding replies. A transport derives from it and sends register values and requests.
class CLowscan : public CFPGALink
{
public:
    ~CLowscan() override;

    /// Receives the buffer's current size, which may take several reads, and sets that size to the count
    /// received. Returns 0, or -171 when fewer bytes came: none for a second, a failed read, or a line that
    /// hung up. More than an LSPingReturnPacket_T is an assertion.
    TSQEventCode_T ReceiveData(Buffer_Bytes_T* Buffer);
    /// Sends the text with its terminating zero byte. Returns 0 or the file's error code.
    TSQEventCode_T Echo(const std::string& text);

protected:
    /// @param ClassName  origin of the transport's events; must live as long as the object
    /// @param pFactory   not owned
    CLowscan(const char* ClassName, const std::string& SerialDevicePath, IOSSFactory* pFactory);

    /// Sets registers in this order, up to the first failure. Returns 0 or that failure.
    virtual TSQEventCode_T SetRegisters(std::span<const LSRegisterValue_T> registers) = 0;
    /// Calls SetRegisters() for channel 0, for channel 1 and for the shared settings, up to the first result
    /// that is not 0, which is returned. A setting that is not allowed is an assertion before its channel's
    /// call.
    TSQEventCode_T SetConfiguration(const LSFpgaCompleteConfigure_T& config);

    /// Receives a reply of this size that has the version. After a failure the version is unchanged.
    TSQEventCode_T ReceiveVersion(std::size_t replySize, SWVersion_T* pVersion);
    /// Size of the packet that fills the buffer of samples, which are floats. More than 1,024 samples, or a
    /// packet beyond LSPingReturnPacket_T, are assertions.
    static std::size_t PingPacketSize(const Buffer_Bytes_T& samples);
    /// Receives a ping's packet and unpacks it into floats.
    /// @param pSamples  filled to its current size; a sample is 0 to 255
    /// @param pValues   takes two values, 0 to 4,095, for each full or partial block of 128 samples
    TSQEventCode_T ReceivePing(Buffer_Bytes_T* pSamples, Buffer_Bytes_T* pValues);
};
