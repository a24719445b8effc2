#pragma once

#include "Database/PingMetaDataFile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

class CDatabaseQL1APingStatistics;
class CFPGAIF;

/// Depth settings that nobody has set yet.
inline constexpr std::int32_t c_DepthUnset = std::numeric_limits<std::int32_t>::min();

/// Ping parameters of the sonar protocol, which this side only carries.
struct Sonar4PingParameters_T {
    std::array<std::uint8_t, 78> bytes{};
};
static_assert(sizeof(Sonar4PingParameters_T) == 78);

/// What every record's settings begin with.
struct [[gnu::packed]] PingState_T {
    bool active = false;
    std::uint8_t rawPingDataState = 0;
    std::uint8_t channel = 255;
};
static_assert(sizeof(PingState_T) == 3);

/// A record's data as other processes of the sounder know it: settings, links and sample buffers.
template <class Settings_T, std::size_t Capacity>
struct PingRecord_T {
    Settings_T settings;
    CFPGAIF* pInterface = nullptr;
    Sonar4PingParameters_T pingParameters;
    CDatabaseQL1APingStatistics* pPingStatistics = nullptr;
    alignas(std::uint32_t) std::uint8_t rawPingData[Capacity * sizeof(std::uint32_t)] = {};
    std::uint8_t processedPingData[Capacity] = {};
};

/// The settings that all ping metadata records have, on settings of which Settings_T says how they are packed
/// and what they begin as. Any value of a type may be set; limits that a ping has are those of the FPGA's
/// registers (Utilities/FPGAIF.h). Packed settings have no alignment, so they are only handed out by value.
/// @tparam Capacity  samples that the buffers hold
template <class Settings_T, std::size_t Capacity>
class CPingMetaDataFields : public CPingMetaDataFile
{
public:
    /// Whether the channel takes part in the ping.
    void SetActive(bool value) { Settings().active = value; }
    bool GetActive() const { return Settings().active; }
    /// Not in the file.
    void SetRawPingDataState(std::uint8_t value) { Settings().rawPingDataState = value; }
    std::uint8_t GetRawPingDataState() const { return Settings().rawPingDataState; }
    /// FPGA channel; 255 for none.
    void SetChannel(std::uint8_t value) { Settings().channel = value; }
    std::uint8_t GetChannel() const { return Settings().channel; }

    // Samples: how many are received, left out at the beginning, processed and displayed, from which on, and
    // what a sample stands for.
    void SetNumberOfSamples(std::uint32_t value) { Settings().numberOfSamples = value; }
    std::uint32_t GetNumberOfSamples() const { return Settings().numberOfSamples; }
    void SetSampleDelay(std::uint32_t value) { Settings().sampleDelay = value; }
    std::uint32_t GetSampleDelay() const { return Settings().sampleDelay; }
    void SetStartSample(std::uint32_t value) { Settings().startSample = value; }
    std::uint32_t GetStartSample() const { return Settings().startSample; }
    void SetNumberOfSamplesToProcess(std::uint32_t value) { Settings().numberOfSamplesToProcess = value; }
    std::uint32_t GetNumberOfSamplesToProcess() const { return Settings().numberOfSamplesToProcess; }
    void SetNumberOfSamplesToDisplay(std::uint32_t value) { Settings().numberOfSamplesToDisplay = value; }
    std::uint32_t GetNumberOfSamplesToDisplay() const { return Settings().numberOfSamplesToDisplay; }
    void SetDistancePerSample(double value) { Settings().distancePerSample = value; }
    double GetDistancePerSample() const { return Settings().distancePerSample; }

    // Depths; c_DepthUnset until set.
    void SetWorkingDepth(std::int32_t value) { Settings().workingDepth = value; }
    std::int32_t GetWorkingDepth() const { return Settings().workingDepth; }
    void SetRequestedDepth(std::int32_t value) { Settings().requestedDepth = value; }
    std::int32_t GetRequestedDepth() const { return Settings().requestedDepth; }
    void SetPreviousDepth(std::int32_t value) { Settings().previousDepth = value; }
    std::int32_t GetPreviousDepth() const { return Settings().previousDepth; }

    // What the user set: percentages, and the levels that follow from them. The levels are for the file's
    // readers only.
    void SetCurrentGainLevelPercentage(std::uint8_t value) { Settings().gainLevelPercent = value; }
    std::uint8_t GetCurrentGainLevelPercent() const { return Settings().gainLevelPercent; }
    void SetCurrentGainLevel(float value) { Settings().gainLevel = value; }
    void SetCurrentColourGainLevelPercentage(std::uint8_t value)
    {
        Settings().colourGainLevelPercent = value;
    }
    std::uint8_t GetCurrentColourGainLevelPercent() const { return Settings().colourGainLevelPercent; }
    void SetCurrentColourGainLevel(float value) { Settings().colourGainLevel = value; }
    void SetCurrentClutterLevelPercentage(std::uint8_t value) { Settings().clutterLevelPercent = value; }
    std::uint8_t GetCurrentClutterLevelPercent() const { return Settings().clutterLevelPercent; }
    void SetCurrentClutterLevel(float value) { Settings().clutterLevel = value; }
    void SetCurrentBandwidthPercent(std::uint8_t value) { Settings().bandwidthPercent = value; }
    std::uint8_t GetCurrentBandwidthPercent() const { return Settings().bandwidthPercent; }
    void SetCurrentBurstLengthAsPercent(std::uint8_t value) { Settings().burstLengthPercent = value; }
    std::uint8_t GetCurrentBurstLengthAsPercent() const { return Settings().burstLengthPercent; }
    /// Seconds.
    void SetCurrentBurstLengthValueInSec(float value) { Settings().burstLengthSeconds = value; }
    float GetCurrentBurstLengthValueInSec() const { return Settings().burstLengthSeconds; }

    // Register values that were calculated from the settings, and factors that correct them.
    void SetCalculatedSteppedAnalogueGain(std::uint8_t value) { Settings().steppedAnalogueGain = value; }
    std::uint8_t GetCalculatedSteppedAnalogueGain() const { return Settings().steppedAnalogueGain; }
    void SetCalculatedBoostLevel(std::uint8_t value) { Settings().boostLevel = value; }
    std::uint8_t GetCalculatedBoostLevel() const { return Settings().boostLevel; }
    void SetCorrectionFactor(float value) { Settings().correctionFactor = value; }
    float GetCorrectionFactor() const { return Settings().correctionFactor; }
    void SetBurstLengthCorrectionFactor(float value) { Settings().burstLengthCorrectionFactor = value; }
    float GetBurstLengthCorrectionFactor() const { return Settings().burstLengthCorrectionFactor; }
    void SetSteppedGainCorrectionFactor(float value) { Settings().steppedGainCorrectionFactor = value; }
    float GetSteppedGainCorrectionFactor() const { return Settings().steppedGainCorrectionFactor; }

    // What goes with a ping in memory and is not in the file.
    void SetPingParams(const Sonar4PingParameters_T& value) { m_Record.pingParameters = value; }
    const Sonar4PingParameters_T& GetPingParams() const { return m_Record.pingParameters; }
    /// Not owned.
    void SetPingStatistics(CDatabaseQL1APingStatistics* value) { m_Record.pPingStatistics = value; }
    CDatabaseQL1APingStatistics* GetPingStatistics() const { return m_Record.pPingStatistics; }
    /// Room for Capacity samples of 32 bits, aligned for them.
    std::uint8_t* GetRawPingDataPtr() { return m_Record.rawPingData; }
    /// Room for Capacity samples of 8 bits.
    std::uint8_t* GetProcessedPingDataPtr() { return m_Record.processedPingData; }

protected:
    using Record_T = PingRecord_T<Settings_T, Capacity>;
    using CPingMetaDataFile::CPingMetaDataFile;

    Settings_T& Settings() { return m_Record.settings; }
    const Settings_T& Settings() const { return m_Record.settings; }

    Record_T m_Record;
};
