#pragma once

#include "Utilities/Lowscan.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// The Lowscan FPGA of the Pk displays on an SPI device. The register setters send nothing: they fill the
/// caller's records and return 0. The other operations return 0, the errno of a failed write, or what they
/// say.
class CFPGAIFLSSPI : public CLowscan
{
public:
    /// Opens the device; a failure stays in the error code.
    /// @param SerialDevicePath  device node, not empty
    /// @param pFactory          not owned, not null
    CFPGAIFLSSPI(const std::string& SerialDevicePath, IOSSFactory* pFactory);

    TSQEventCode_T SetRegister(SetRegisterData_T* record, unsigned short address, unsigned int value);
    /// Fills two records.
    /// @param Period  FPGA clock units, 0 to 1,023; 0 keeps the channel quiet
    TSQEventCode_T SetPulse(SetRegisterData_T* records, LSChannel_T Channel, LSPeriod_T Period,
                            LSFrequency_Hz_T StartFrequency, LSFrequency_Hz_T EndFrequency);
    /// Fills two records.
    TSQEventCode_T SetSampling(SetRegisterData_T* records, LSChannel_T Channel, LSFpgaSamples_T SamplesA,
                               LSFpgaSamples_T SamplesB, LSDecimationRate_T Rate);
    /// Fills two records.
    TSQEventCode_T SetGainAndColourGain(SetRegisterData_T* records, LSChannel_T Channel, LSGain_T Gain,
                                        LSColourGain_T ColourGain);
    TSQEventCode_T SetAnalogueGainLevel(SetRegisterData_T* record, unsigned char level);
    TSQEventCode_T SetBoostLevel(SetRegisterData_T* record, unsigned char level, bool enable);

    /// Sends a whole ping set-up in one request.
    TSQEventCode_T setUpForPing(LSFpgaCompleteConfigure_T config);
    TSQEventCode_T PingNow();
    /// Waits until the FPGA interrupts. Returns 1, or 0 when it did not.
    TSQEventCode_T WaitForData() { return WaitForInterrupt(); }
    /// Reads the samples of the last ping. Returns 0 or -171; a failed request counts as a missing reply.
    /// @param Channel  1 for the second channel, anything else for the first
    /// @param Samples  room for at most 1,024 floats, all of which are filled
    /// @param Values   room for two floats for each full or partial block of 128 samples
    TSQEventCode_T GetPing(LSChannel_T Channel, Buffer_Bytes_T* Samples, Buffer_Bytes_T* Values);
    /// Returns 0, or -171 when the reply is incomplete; the readings, 24 bits each, are then unchanged.
    TSQEventCode_T GetADCReadings(LSADCReadings_T* Readings);
    /// Returns 0, or -171 when the reply is incomplete; the version is then unchanged.
    TSQEventCode_T GetVersion(SWVersion_T* Version);

private:
    TSQEventCode_T SendRequest(std::vector<std::uint8_t> request);
    TSQEventCode_T FillRecords(SetRegisterData_T* pRecords, std::span<const LSRegisterValue_T> registers);
    /// Appends the registers' records to m_SetUp. Returns 0.
    TSQEventCode_T SetRegisters(std::span<const LSRegisterValue_T> registers) override;

    std::vector<std::uint8_t> m_SetUp; ///< the request that setUpForPing() builds
};
