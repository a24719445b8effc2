#pragma once

#include "Database/PingMetaDataRecord.h"

/// A decimation rate that is not set.
inline constexpr std::uint32_t c_DecimationRateUnset = 0xFFFFFFFF;

/// Settings of one channel of a Lowscan FPGA, from the number of samples on.
struct [[gnu::packed]] LowscanCoefs_T {
    std::uint32_t numberOfSamples = 1024;
    double startFreq = 0;
    double endFreq = 0;
    std::uint32_t numberOfFullCycles = 0;
    std::uint32_t decimationRate = c_DecimationRateUnset;
    std::int32_t workingDepth = c_DepthUnset;
    std::int32_t requestedDepth = c_DepthUnset;
    double distancePerSample = 0;
    std::uint32_t startSample = 0;
    double gain = 0;
    double colourGain = 0;
    std::uint32_t numberOfSamplesToProcess = 1024;
    PingLevels_T levels;
    std::uint8_t steppedAnalogueGain = 0;
    std::uint8_t boostLevel = 0;
    std::uint8_t burstLengthPercent = 0;
    std::uint32_t numberOfSamplesToDisplay = 1024;
    PingCorrections_T corrections;
};

/// All settings of one channel of a Lowscan FPGA.
struct LowscanSettings_T : PingState_T, LowscanCoefs_T {
};
static_assert(sizeof(LowscanSettings_T) == 118);

/// Everything known about one ping of one channel of a Lowscan FPGA. The scalar settings are written to a
/// text file (CPingMetaDataFile) and never read back. A text of more than 1,023 characters, which takes real
/// numbers of several hundred digits, is an assertion.
class CDatabasePingMetaData final : public CPingMetaDataFields<LowscanSettings_T, 1024>
{
public:
    /// Makes the file, with the defaults, when it is missing; failure shows in GetErrorCode().
    /// @param pFactory  not owned, not null; must live as long as the record
    /// @param index     of the record among the sounder's; part of the file's name
    CDatabasePingMetaData(IOSSFactory* pFactory, std::size_t index);

    /// Not supported: an assertion.
    TSQEventCode_T readDB();
    /// Size of the record's data from the active flag to the last processed sample, on a 32-bit processor.
    std::size_t MessageSize_Bytes() const { return c_MessageSize; }

    /// Hertz.
    void SetStartFreq(double value) { Settings().startFreq = value; }
    double GetStartFreq() const { return Settings().startFreq; }
    void SetEndFreq(double value) { Settings().endFreq = value; }
    double GetEndFreq() const { return Settings().endFreq; }
    /// Length of the pulse; not 0xFFFFFFFF for a channel that pings.
    void SetNumberOfFullCycles(std::uint32_t value) { Settings().numberOfFullCycles = value; }
    std::uint32_t GetNumberOfFullCycles() const { return Settings().numberOfFullCycles; }
    void SetDecimationRate(std::uint32_t value) { Settings().decimationRate = value; }
    std::uint32_t GetDecimationRate() const { return Settings().decimationRate; }
    void SetGain(double value) { Settings().gain = value; }
    double GetGain() const { return Settings().gain; }
    void SetColourGain(double value) { Settings().colourGain = value; }
    double GetColourGain() const { return Settings().colourGain; }

    /// Not owned; null until set.
    void SetLowscanInterface(CFPGAIF* value) { m_Record.pInterface = value; }
    CFPGAIF* GetLowscanInterface() const { return m_Record.pInterface; }

    /// The packed settings from the number of samples to the previous depth, as long as the record lives.
    const LowscanCoefs_T* GetLowscanCoefs() const { return &Settings(); }

private:
    static constexpr std::size_t c_MessageSize = 5328;
    static_assert(sizeof(void*) != 4 || sizeof(Record_T) == c_MessageSize);

    bool Print(IOSSFile& file) const override;
};
