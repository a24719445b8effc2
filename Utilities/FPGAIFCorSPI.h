#pragma once

#include "Utilities/FPGAPacketLink.h"

#include <string>

/// The sounder FPGA of the QL4K, QL5K and QL6M. Setters queue their register until the next transmit; those
/// whose comment says so send it at once. Both return 0, or -109 when something should have gone out and did
/// not. Getters return 0, or -109 when the request did not go out; if the device does not answer, the
/// caller's value is unchanged, except for GetVersion() (255.0) and GetSpeedReading() (0). Null arguments are
/// assertions.
class CFPGAIFCorSpi : public CFPGAPacketLink
{
public:
    /// Opens the device; a failure stays in the error code. The FPGA's clock follows QL3B_FPGA_SIZE.
    /// @param UseTransducerInterrupt  whether a transducer identification is followed by an interrupt
    /// @param SerialDevicePath        device node, not empty
    /// @param pFactory                not owned, not null
    CFPGAIFCorSpi(bool UseTransducerInterrupt, const std::string& SerialDevicePath, IOSSFactory* pFactory);

    /// Sends a command that starts a ping or, with the transducer interrupt, identifies the transducer, and
    /// queues any other. A missing interrupt leaves -144 in the error code; the result does not show it.
    TSQEventCode_T SetCommandRegister(bFpgaCommandByte Command);
    /// As SetCommandRegister() for a command that starts a ping; any other is ignored and gives 0.
    TSQEventCode_T PingNow(bFpgaCommandByte Command);
    /// Fills the buffer with samples and checks the FIFO. Returns the bytes received, 0 on failure.
    TSQEventCode_T GetPing(Buffer_Bytes_T* Buffer);
    /// Sends a read of the ping FIFO in one transfer. Returns the bytes of the request that went out; the
    /// reply is not read.
    TSQEventCode_T GetPingSection(Buffer_Bytes_T* Buffer);
    /// Sends the current transfer and prints its size. Returns the bytes that went out.
    unsigned int ReceivePingDataFromFPGA(Buffer_Bytes_T* Buffer);
    /// Clears the ping FIFO, and reports it, unless it is in its normal state. Returns 0.
    TSQEventCode_T ValidateDataCollection();
    /// Always 0: a ping is read in one transfer.
    TSQEventCode_T HasPingDataTransferCompleted() { return c_Success; }

    TSQEventCode_T GetVersion(SWVersion_T* SwVersion);
    TSQEventCode_T GetStatusRegister(bFpgaStatusByte* Status);
    TSQEventCode_T GetTransducerData(unsigned char* Data);
    TSQEventCode_T GetSpeedReading(FPGASpeedReading_T* SpeedReading);

    TSQEventCode_T SetADCFrequencyRegister(eFpgaAdcFrequency_T Frequency);
    /// @param NumberOf32bitSamples  a multiple of 16 below 1,048,576
    TSQEventCode_T SetNumberOfSamplesToReceive(FpgaAdcSamples_T NumberOf32bitSamples);
    TSQEventCode_T SetChannelFilterRegister(const FpgaChnlFltByte_T* Filter);
    /// @param Band  any band but the automatic one
    TSQEventCode_T SetFilterSelectionRegister(PingConfigRxBand_T Band);
    /// @param HundredsOfHz  centre frequency in units of 100 Hz
    TSQEventCode_T SetBaseBandFilterCentreFreq(unsigned short HundredsOfHz);
    TSQEventCode_T SetBaseBandFilterSelectionReg(unsigned char Selection);
    TSQEventCode_T SetBaseBandFilterScalingReg(unsigned char Scaling);
    TSQEventCode_T SetBaseBandFilterSubSampleReg(unsigned char SubSample);
    TSQEventCode_T SetCorralationScaling(unsigned char Scaling);
    TSQEventCode_T SetCorralationDownShift(unsigned char DownShift);
    TSQEventCode_T SetSubSampleRate(unsigned char Rate);
    TSQEventCode_T SetSubSampleMode(FpgaSubSampleMode_T Mode);
    TSQEventCode_T SetSubSampleThreshold(unsigned short Threshold);

    /// At most Sizeof_TVGTable entries; sets the length, too.
    TSQEventCode_T SetTVGTable(const TVGTable_T& TvgTable);
    TSQEventCode_T SetTVGLength(unsigned short Entries);
    /// Any number of entries; sets the length, of which 16 bits count, too.
    TSQEventCode_T SetChirpTable(const ChirpTable_T& ChirpTable);
    TSQEventCode_T SetChirpLength(unsigned short Entries);
    /// At most Sizeof_CorrelationFilter entries; the rest of the FPGA's table is filled with zeros.
    TSQEventCode_T SetCorrelationFilter(const CorrelationFilterCoefficients_T& CorrelationFilter);
    /// @param LengthCode  length of the table in units of 2,048 bytes, minus one
    TSQEventCode_T SetCorrelationFilterLength(unsigned char LengthCode);

    /// Sends.
    TSQEventCode_T SetTransducerData(unsigned char Data);
    /// Sends; a failure is also printed.
    TSQEventCode_T SetOutputDataToLog();
    /// Sends any one-byte register.
    TSQEventCode_T SetDebugRegister(unsigned char RegisterContents, CorFPGAAddress_T Address);
    /// Reads any one-byte register.
    TSQEventCode_T GetDebugRegister(unsigned char* RegisterContents, CorFPGAAddress_T Address);

private:
    std::uint32_t m_FpgaClockHz;
    bool m_bUseTransducerInterrupt;
};
