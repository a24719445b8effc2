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

/// Levels of a ping, as both records hold them one behind the other.
struct [[gnu::packed]] PingLevels_T {
    std::uint8_t gainPercent = 0;
    float gain = 0;
    std::uint8_t colourGainPercent = 0;
    float colourGain = 0;
    std::uint8_t clutterPercent = 0;
    float clutter = 0;
    std::uint8_t bandwidthPercent = 0;
    float burstLengthSeconds = 0;
};
static_assert(sizeof(PingLevels_T) == 20);

/// What both records' settings end with.
struct [[gnu::packed]] PingCorrections_T {
    std::uint32_t sampleDelay = 0;
    float factor = 0;
    float burstLengthFactor = 0;
    float steppedGainFactor = 0;
    std::int32_t previousDepth = c_DepthUnset;
};
static_assert(sizeof(PingCorrections_T) == 20);

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
    void SetSampleDelay(std::uint32_t value) { Settings().corrections.sampleDelay = value; }
    std::uint32_t GetSampleDelay() const { return Settings().corrections.sampleDelay; }
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
    void SetPreviousDepth(std::int32_t value) { Settings().corrections.previousDepth = value; }
    std::int32_t GetPreviousDepth() const { return Settings().corrections.previousDepth; }

    // What the user set: percentages, and the levels that follow from them. The levels are for the file's
    // readers only.
    void SetCurrentGainLevelPercentage(std::uint8_t value) { Settings().levels.gainPercent = value; }
    std::uint8_t GetCurrentGainLevelPercent() const { return Settings().levels.gainPercent; }
    void SetCurrentGainLevel(float value) { Settings().levels.gain = value; }
    void SetCurrentColourGainLevelPercentage(std::uint8_t value)
    {
        Settings().levels.colourGainPercent = value;
    }
    std::uint8_t GetCurrentColourGainLevelPercent() const { return Settings().levels.colourGainPercent; }
    void SetCurrentColourGainLevel(float value) { Settings().levels.colourGain = value; }
    void SetCurrentClutterLevelPercentage(std::uint8_t value) { Settings().levels.clutterPercent = value; }
    std::uint8_t GetCurrentClutterLevelPercent() const { return Settings().levels.clutterPercent; }
    void SetCurrentClutterLevel(float value) { Settings().levels.clutter = value; }
    void SetCurrentBandwidthPercent(std::uint8_t value) { Settings().levels.bandwidthPercent = value; }
    std::uint8_t GetCurrentBandwidthPercent() const { return Settings().levels.bandwidthPercent; }
    void SetCurrentBurstLengthAsPercent(std::uint8_t value) { Settings().burstLengthPercent = value; }
    std::uint8_t GetCurrentBurstLengthAsPercent() const { return Settings().burstLengthPercent; }
    /// Seconds.
    void SetCurrentBurstLengthValueInSec(float value) { Settings().levels.burstLengthSeconds = value; }
    float GetCurrentBurstLengthValueInSec() const { return Settings().levels.burstLengthSeconds; }

    // Register values that were calculated from the settings, and factors that correct them.
    void SetCalculatedSteppedAnalogueGain(std::uint8_t value) { Settings().steppedAnalogueGain = value; }
    std::uint8_t GetCalculatedSteppedAnalogueGain() const { return Settings().steppedAnalogueGain; }
    void SetCalculatedBoostLevel(std::uint8_t value) { Settings().boostLevel = value; }
    std::uint8_t GetCalculatedBoostLevel() const { return Settings().boostLevel; }
    void SetCorrectionFactor(float value) { Settings().corrections.factor = value; }
    float GetCorrectionFactor() const { return Settings().corrections.factor; }
    void SetBurstLengthCorrectionFactor(float value) { Settings().corrections.burstLengthFactor = value; }
    float GetBurstLengthCorrectionFactor() const { return Settings().corrections.burstLengthFactor; }
    void SetSteppedGainCorrectionFactor(float value) { Settings().corrections.steppedGainFactor = value; }
    float GetSteppedGainCorrectionFactor() const { return Settings().corrections.steppedGainFactor; }

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
