#pragma once

#include "Utilities/EventCodes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

class CDatabaseQL1APingStatistics;
class CFPGAIF;
class IOSSFactory;
class IOSSFile;

/// Longest path of a ping metadata file.
inline constexpr std::size_t MAX_DATABASE_PATH_LENGTH = 256;

/// 32-bit numbers in the types of the files' formats. A line that is signed shows a value above 2,147,483,647
/// as a negative number.
constexpr std::size_t AsSize(std::uint32_t value) { return value; }
constexpr int AsSigned(std::uint32_t value) { return static_cast<int>(value); }

/// The text file of a ping metadata record: its path, when it is made, and how it is replaced while other
/// processes read it. A record derives from this and prints the text. docs/metadata.md describes the files
/// for those who read them.
class CPingMetaDataFile
{
public:
    CPingMetaDataFile(const CPingMetaDataFile&) = delete;
    CPingMetaDataFile& operator=(const CPingMetaDataFile&) = delete;
    virtual ~CPingMetaDataFile() = default;

    /// Replaces the file's text by the record's, in place, and makes the file when it is missing.
    /// @return 0 when the file holds exactly the record's text, or when the factory makes no files;
    ///   -140 while another process has the file locked, also for reading, and the errno of a file that does
    ///   not open: then the file is as it was;
    ///   -142 when a write failed or the old text's tail could not be cut off: the file may be a mixture of
    ///   both texts until a later call succeeds, and an event reports the reason
    TSQEventCode_T writeDB();

    /// The result of writeDB() at construction; 0 if the file existed then. Later writes do not change it.
    TSQEventCode_T GetErrorCode() const { return m_ErrorCode; }
    const std::string& GetDBFilePath() const { return m_DatabaseFilePath; }

protected:
    /// The path is the value of NONPERSISTED_DATABASE_ROOT (unset: nothing), which has to end with a
    /// separator, followed by "PingMetaData", the index and ".txt". A path beyond MAX_DATABASE_PATH_LENGTH is
    /// an assertion.
    /// @param ClassName  origin of the record's events; must live as long as the object
    /// @param pFactory   not owned, not null; must live as long as the object
    CPingMetaDataFile(const char* ClassName, IOSSFactory* pFactory, std::size_t index);

    /// Writes the file unless the root directory holds a regular file of its name. The last step of a
    /// record's construction. With an empty root the file is always written.
    void CreateIfMissing();
    /// Formats a piece and writes it in one call. A piece of 1,024 characters or more is an assertion.
    /// Returns false when the write failed; the file's error code says why.
    [[gnu::format(printf, 2, 3)]] static bool Write(IOSSFile& file, const char* format, ...);

private:
    /// Writes the record's text, stopping at the first piece that fails. Returns whether all went out.
    virtual bool Print(IOSSFile& file) const = 0;

    void ReportError(TSQEventCode_T code, const char* origin, const char* text);

    const char* m_ClassName;
    IOSSFactory* m_pFactory;
    std::string m_RootDirectory;
    std::string m_FileName;
    std::string m_DatabaseFilePath;
    TSQEventCode_T m_ErrorCode = c_Success;
};

/// A depth that is not set.
inline constexpr std::int32_t c_DepthUnset = std::numeric_limits<std::int32_t>::min();

/// Ping parameters of the sonar protocol, which a record only stores.
struct Sonar4PingParameters_T {
    std::array<std::uint8_t, 78> bytes{};
};
static_assert(sizeof(Sonar4PingParameters_T) == 78);

/// The first settings of every record.
struct [[gnu::packed]] PingState_T {
    bool active = false;
    std::uint8_t rawPingDataState = 0;
    std::uint8_t channel = 255;
};
static_assert(sizeof(PingState_T) == 3);

/// Levels of a ping, in the order of both records.
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

/// The last settings of both records.
struct [[gnu::packed]] PingCorrections_T {
    std::uint32_t sampleDelay = 0;
    float factor = 0;
    float burstLengthFactor = 0;
    float steppedGainFactor = 0;
    std::int32_t previousDepth = c_DepthUnset;
};
static_assert(sizeof(PingCorrections_T) == 20);

/// A record's data: settings, links and sample buffers.
template <class Settings_T, std::size_t Capacity>
struct PingRecord_T {
    Settings_T settings;
    CFPGAIF* pInterface = nullptr;
    Sonar4PingParameters_T pingParameters;
    CDatabaseQL1APingStatistics* pPingStatistics = nullptr;
    alignas(std::uint32_t) std::uint8_t rawPingData[Capacity * sizeof(std::uint32_t)] = {};
    std::uint8_t processedPingData[Capacity] = {};
};

/// Setters and getters of the settings that both records have. Any value of a setting's type is accepted; the
/// FPGA's registers limit a ping (Utilities/FPGAIF.h). Packed settings have no alignment, so getters return
/// them by value.
/// @tparam Settings_T  the record's settings, with their packing and defaults
/// @tparam Capacity    samples that the buffers hold
template <class Settings_T, std::size_t Capacity>
class CPingMetaDataFields : public CPingMetaDataFile
{
public:
    /// Whether the channel pings.
    void SetActive(bool value) { Settings().active = value; }
    bool GetActive() const { return Settings().active; }
    /// Not in the file.
    void SetRawPingDataState(std::uint8_t value) { Settings().rawPingDataState = value; }
    std::uint8_t GetRawPingDataState() const { return Settings().rawPingDataState; }
    /// FPGA channel; 255 for none.
    void SetChannel(std::uint8_t value) { Settings().channel = value; }
    std::uint8_t GetChannel() const { return Settings().channel; }

    // Samples: the number received, the delay, the first one processed, the numbers processed and displayed,
    // and the distance of one sample.
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

    // The user's settings: percentages, and the levels that follow from them. The levels are write-only here;
    // the file has them.
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

    // Calculated register values, and correction factors.
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

    // These are not in the file.
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
