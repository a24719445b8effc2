#pragma once

#include "Utilities/Lowscan.h"

#include <span>
#include <string>

/// The Lowscan FPGA of the Varrow, VarrowX, QL1A and QL2A on a serial line: raw, 3,000,000 baud, 8 data bits.
/// A register travels as a frame of 8 bytes, one write each. Operations return 0, the errno of a failed
/// write, or what they say.
class CFPGAIFLSUart : public CLowscan
{
public:
    /// Opens and sets up the line; a failure stays in the error code.
    /// @param SerialDevicePath  device node, not empty
    /// @param pFactory          not owned, not null
    CFPGAIFLSUart(const std::string& SerialDevicePath, IOSSFactory* pFactory);

    /// Device node of a channel's line if the environment names none.
    static const char* DefaultDevice(LSChannel_T channel);

    TSQEventCode_T SetRegister(unsigned short address, unsigned int value);
    /// Discards bytes that were received and not read. Returns 0 or -173.
    TSQEventCode_T Flush();
    TSQEventCode_T PingNow();
    /// Returns 0, or -171 when the reply is incomplete; the version is then unchanged.
    TSQEventCode_T GetVersion(SWVersion_T* Version);
    /// Reads the samples of the last ping. The channel is not used. Returns 0 or -171.
    /// @param Samples  room for at most 1,024 floats, all of which are filled
    /// @param Values   room for two floats for each full or partial block of 128 samples
    TSQEventCode_T GetPing(LSChannel_T, Buffer_Bytes_T* Samples, Buffer_Bytes_T* Values)
    {
        return ReceivePing(Samples, Values);
    }

    /// The setters of several registers end at the first failure.
    /// @param Period  FPGA clock units, 0 to 1,023; 0 keeps the channel quiet
    TSQEventCode_T SetPulse(LSChannel_T Channel, LSPeriod_T Period, LSFrequency_Hz_T StartFrequency,
                            LSFrequency_Hz_T EndFrequency);
    TSQEventCode_T SetSampling(LSChannel_T Channel, LSFpgaSamples_T First, LSFpgaSamples_T Second,
                               LSDecimationRate_T Decimation);
    TSQEventCode_T SetGainAndColourGain(LSChannel_T Channel, LSGain_T Gain, LSColourGain_T ColourGain);
    TSQEventCode_T SetAnalogueGainLevel(unsigned char level);
    TSQEventCode_T SetBoostLevel(unsigned char level, bool enable);
    TSQEventCode_T setUpForPing(LSFpgaCompleteConfigure_T config) { return SetConfiguration(config); }

private:
    TSQEventCode_T ConfigureSerialPort(int descriptor);
    TSQEventCode_T SerialPortFailure(const std::string& text);
    TSQEventCode_T SetRegisters(std::span<const LSRegisterValue_T> registers) override;
};
