#pragma once

#include "Utilities/FPGAPacketLink.h"

#include <string>

/// Most samples that one ping gives.
inline constexpr std::size_t c_MaxSamplesFromLumetFPGA = 2048;

/// The sonar FPGA of the Lumet family: two receive channels with a block of registers each, and a few
/// registers for both. Setters queue their register until the next transmit; those whose comment says so send
/// it at once. Both return 0, or -109 when something should have gone out and did not. Getters return 0, or
/// -109 when the request did not go out; if the device does not answer, the caller's value is unchanged,
/// except for GetVersion() (255.0) and where a comment says otherwise. Null arguments are assertions.
class CFPGAIFLumetSPI : public CFPGAPacketLink
{
public:
    /// Frequencies are set as tuning words: the frequency as a fraction of this clock, in units of 2^-32.
    static constexpr std::uint32_t m_FpgaClockHz = 71'000'000;

    /// Opens the device; a failure stays in the error code.
    /// @param SerialDevicePath  device node, not empty
    /// @param pFactory          not owned, not null
    CFPGAIFLumetSPI(const std::string& SerialDevicePath, IOSSFactory* pFactory);

    /// Sends a command that starts a ping; queues any other.
    TSQEventCode_T SetCommandRegister(bLumetCommandByte Command);
    /// As SetCommandRegister() for a command that starts a ping; any other is ignored and gives 0.
    TSQEventCode_T PingNow(bLumetCommandByte Command);
    /// Reads a channel's samples, one byte each on the link, as floats from 0 to 255; missing samples are 0.
    /// Returns 0 or the file's error code.
    /// @param Buffer  its size is the number of samples, at most c_MaxSamplesFromLumetFPGA; its storage must
    ///                hold a float for each, four times that size
    TSQEventCode_T GetPing(FPGAChannel_T Channel, Buffer_Bytes_T* Buffer, InterruptMode_T Mode);
    /// Reads the status and the channel's FIFO status after a ping and ignores them. Returns 0.
    TSQEventCode_T ValidateDataCollection(FPGAChannel_T Channel);

    TSQEventCode_T GetVersion(SWVersion_T* SwVersion);
    TSQEventCode_T GetStatusRegister(bLumetStatusByte* Status);
    TSQEventCode_T GetFifoStatusRegister(bCorFifoStatusByte* Status, FPGAChannel_T Channel);

    /// Read an ADC; the value is 0 if the device does not answer.
    TSQEventCode_T GetADCReference(CorFPGA24BitADCValue_T* AdcValue);
    TSQEventCode_T GetSenseResistor(CorFPGA24BitADCValue_T* AdcValue);
    TSQEventCode_T GetWaterTemp(CorFPGA24BitADCValue_T* AdcValue);
    TSQEventCode_T GetADCValue(CorFPGAAddress_T Address, CorFPGA24BitADCValue_T* AdcValue);

    /// @param NumberOf32bitSamples  a multiple of 16 below 1,048,576
    TSQEventCode_T SetNumberOfSamplesToReceive(FpgaAdcSamples_T NumberOf32bitSamples, FPGAChannel_T Channel);
    TSQEventCode_T SetSteppedAnalogueGain(unsigned char Step, FPGAChannel_T Channel);
    TSQEventCode_T SetBaseBandFilterCentreFreq(unsigned int TuningWord, FPGAChannel_T Channel);
    TSQEventCode_T SetCorralationScaling(unsigned char Scaling, FPGAChannel_T Channel);
    TSQEventCode_T SetCorralationDownShift(unsigned char DownShift, FPGAChannel_T Channel);
    /// @param Rate  of which 8 bits count
    TSQEventCode_T SetSubSampleRate(unsigned int Rate, FPGAChannel_T Channel);
    TSQEventCode_T SetFifoCntrlRegister(bCorFifoCntrlByte Control, FPGAChannel_T Channel);
    TSQEventCode_T SetStartFreq(unsigned int TuningWord, FPGAChannel_T Channel);
    TSQEventCode_T SetChirpIncrement(unsigned int Increment, FPGAChannel_T Channel);
    /// @param Cycles  full cycles, of which 16 bits count
    TSQEventCode_T SetBurstLength(unsigned int Cycles, FPGAChannel_T Channel);
    /// At most Sizeof_CorrelationFilter entries; padded with zeros to a multiple of 512.
    TSQEventCode_T SetCorrelationFilter(const CorrelationFilterCoefficients_T& CorrelationFilter,
                                        FPGAChannel_T Channel);

    /// Sends.
    TSQEventCode_T SetWifiLEDRegister(FpgaWifiLEDRegister_T Leds);
    /// Sends any one-byte register and reads a reply.
    TSQEventCode_T SetDebugRegister(bLumetStatusByte Value, CorFPGAAddress_T Address);
    /// Reads any one-byte register.
    TSQEventCode_T GetDebugRegister(bLumetStatusByte* Status, CorFPGAAddress_T Address);
};
