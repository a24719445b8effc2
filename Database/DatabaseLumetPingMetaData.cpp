#include "Database/DatabaseLumetPingMetaData.h"

#include <algorithm>
#include <cassert>

CDatabaseLumetPingMetaData::CDatabaseLumetPingMetaData(IOSSFactory* pFactory, std::size_t index)
    : CPingMetaDataFields("CDatabaseLumetPingMetaData", pFactory, index)
{
    CreateIfMissing();
}

TSQEventCode_T CDatabaseLumetPingMetaData::readDB()
{
    assert(0 && "CDatabaseLumetPingMetaData can't be read from disk!");
    return GetErrorCode();
}

bool CDatabaseLumetPingMetaData::Print(IOSSFile& file) const
{
    const LumetSettings_T& s = Settings();
    const CorrelationFilterSettings_T& table = s.correlationTable;
    return Write(file,
                 "%d\n%d\n%zu\n%d\n%d\n%zu\n%d\n%d\n%d\n%d\n%d\n%zu\n%d\n%d\n%f\n%zu\n%zu\n%d\n%f\n%d\n%f\n"
                 "%d\n%f\n%d\n%f\n%d\n%d\n%zu\n%zu\n%f\n%f\n%f\n%d\n%d\n%d\n",
                 s.active, s.channel, AsSize(s.numberOfSamples), s.steppedAnalogueGain,
                 AsSigned(s.basebandCentreFreq), AsSize(s.subSampleRate), s.startFreq, s.endFreq,
                 AsSigned(s.chirpStartFreq), AsSigned(s.chirpEndFreq), AsSigned(s.chirpIncrement),
                 AsSize(s.burstLengthInFullCycles), s.workingDepth, s.requestedDepth, s.distancePerSample,
                 AsSize(s.startSample), AsSize(s.numberOfSamplesToProcess), s.levels.gainPercent,
                 s.levels.gain, s.levels.colourGainPercent, s.levels.colourGain, s.levels.clutterPercent,
                 s.levels.clutter, s.levels.bandwidthPercent, s.levels.burstLengthSeconds, s.boostLevel,
                 s.burstLengthPercent, AsSize(s.numberOfSamplesToDisplay), AsSize(s.corrections.sampleDelay),
                 s.corrections.factor, s.corrections.burstLengthFactor, s.corrections.steppedGainFactor,
                 s.corrections.previousDepth, table.scaling, table.downShift) &&
           Write(file, "Lumet Channel %d CorrelationFilterTable Size = %zu \n", s.channel,
                 table.coefficients.size()) &&
           std::ranges::all_of(table.coefficients, [&](const CorrelationFilterCoefficientSet_T& pair) {
               return Write(file, "%d,%d,", pair.first, pair.second);
           });
}
