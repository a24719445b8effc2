#pragma once

#include "Database/PingMetaDataRecord.h"
#include "Utilities/FPGATypes.h"

/// A frequency that is not set.
inline constexpr std::uint16_t c_FrequencyUnset = 0xFFFF;

/// Settings of one channel of a Lumet FPGA, from the number of samples up to the correlation table.
struct [[gnu::packed]] LumetCoefs_T {
    std::uint32_t numberOfSamples = 2048;
    std::uint8_t steppedAnalogueGain = 0;
    std::uint32_t basebandCentreFreq = 0;
};
static_assert(sizeof(PingState_T) + sizeof(LumetCoefs_T) == 12);

/// The correlation table is not packed: it keeps its own alignment.
struct LumetCorrelation_T {
    CorrelationFilterSettings_T correlationTable;
};

/// Settings of one channel of a Lumet FPGA after the correlation table.
struct [[gnu::packed]] LumetPulse_T {
    std::uint32_t subSampleRate = 0;
    std::uint16_t startFreq = c_FrequencyUnset;
    std::uint16_t endFreq = c_FrequencyUnset;
    std::uint32_t chirpStartFreq = 0;
    std::uint32_t chirpEndFreq = 0;
    std::uint32_t chirpIncrement = 0;
    std::uint32_t burstLengthInFullCycles = 0;
    std::int32_t workingDepth = c_DepthUnset;
    std::int32_t requestedDepth = c_DepthUnset;
    double distancePerSample = 0;
    std::uint32_t startSample = 0;
    std::uint32_t numberOfSamplesToProcess = 2048;
    PingLevels_T levels;
    std::uint8_t boostLevel = 0;
    std::uint8_t burstLengthPercent = 0;
    std::uint32_t numberOfSamplesToDisplay = 2048;
    PingCorrections_T corrections;
};
static_assert(sizeof(LumetPulse_T) == 94);

/// All settings of one channel of a Lumet FPGA.
struct LumetSettings_T : PingState_T, LumetCoefs_T, LumetCorrelation_T, LumetPulse_T {
};

/// Everything known about one ping of one channel of a Lumet FPGA. The settings are written to a text file
/// (CPingMetaDataFile) and never read back. The CDatabasePingMetaData of the same index has the same file
/// name.
class CDatabaseLumetPingMetaData final : public CPingMetaDataFields<LumetSettings_T, 2048>
{
public:
    /// Makes the file, with the defaults, when it is missing; failure shows in GetErrorCode().
    /// @param pFactory  not owned, not null; must live as long as the record
    /// @param index     of the record among the sounder's; part of the file's name
    CDatabaseLumetPingMetaData(IOSSFactory* pFactory, std::size_t index);

    /// Not supported: an assertion.
    TSQEventCode_T readDB();
    /// Size of the record's data from the active flag to the last processed sample. Part of the contract; the
    /// record in memory has another size.
    std::size_t MessageSize_Bytes() const { return c_MessageSize; }

    /// Tuning word, like the chirp's start and end.
    void SetBasebandCentreFreq(std::uint32_t value) { Settings().basebandCentreFreq = value; }
    std::uint32_t GetBasebandCentreFreq() const { return Settings().basebandCentreFreq; }
    /// Copied whole. The FPGA takes at most Sizeof_CorrelationFilter pairs.
    void SetCorrelationTable(const CorrelationFilterSettings_T& value)
    {
        Settings().correlationTable = value;
    }
    const CorrelationFilterSettings_T& GetCorrelationTable() const { return Settings().correlationTable; }
    void SetSubSampleRate(std::uint32_t value) { Settings().subSampleRate = value; }
    std::uint32_t GetSubSampleRate() const { return Settings().subSampleRate; }
    /// The ping's nominal frequencies; c_FrequencyUnset until set. The FPGA uses those of the chirp.
    void SetStartFreq(std::uint16_t value) { Settings().startFreq = value; }
    std::uint16_t GetStartFreq() const { return Settings().startFreq; }
    void SetEndFreq(std::uint16_t value) { Settings().endFreq = value; }
    std::uint16_t GetEndFreq() const { return Settings().endFreq; }
    void SetChirpStartFreq(std::uint32_t value) { Settings().chirpStartFreq = value; }
    std::uint32_t GetChirpStartFreq() const { return Settings().chirpStartFreq; }
    void SetChirpEndFreq(std::uint32_t value) { Settings().chirpEndFreq = value; }
    std::uint32_t GetChirpEndFreq() const { return Settings().chirpEndFreq; }
    void SetChirpIncrement(std::uint32_t value) { Settings().chirpIncrement = value; }
    std::uint32_t GetChirpIncrement() const { return Settings().chirpIncrement; }
    /// Length of the pulse; the FPGA takes 16 bits of it.
    void SetBurstLengthInFullCycles(std::uint32_t value) { Settings().burstLengthInFullCycles = value; }
    std::uint32_t GetBurstLengthInFullCycles() const { return Settings().burstLengthInFullCycles; }

    /// Not owned; null until set.
    void SetFPGAInterface(CFPGAIF* value) { m_Record.pInterface = value; }
    CFPGAIF* GetFPGAInterface() const { return m_Record.pInterface; }

    /// The settings from the number of samples on, valid as long as the record lives. The correlation table
    /// and the settings of the pulse follow those of the type.
    const LumetCoefs_T* GetLumetCoefs() const { return &Settings(); }

private:
    static constexpr std::size_t c_MessageSize = 10468;

    bool Print(IOSSFile& file) const override;
};
