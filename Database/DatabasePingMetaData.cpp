#include "Database/DatabasePingMetaData.h"

#include <cassert>

CDatabasePingMetaData::CDatabasePingMetaData(IOSSFactory* pFactory, std::size_t index)
    : CPingMetaDataFields("CDatabasePingMetaData", pFactory, index)
{
    CreateIfMissing();
}

TSQEventCode_T CDatabasePingMetaData::readDB()
{
    assert(0 && "CDatabasePingMetaData can't be read from disk!");
    return GetErrorCode();
}

bool CDatabasePingMetaData::Print(IOSSFile& file) const
{
    const LowscanSettings_T& s = Settings();
    // Part of the contract: in the file the colour gain comes before the gain, in memory after it.
    return Write(file,
                 "%d\n%d\n%zu\n%f\n%f\n%d\n%d\n%d\n%d\n%f\n%d\n%f\n%f\n%zu\n%d\n%f\n%d\n%f\n%d\n%f\n%d\n%f\n"
                 "%d\n%d\n%d\n%zu\n%zu\n%f\n%f\n%f\n%d\n",
                 s.active, s.channel, AsSize(s.numberOfSamples), s.startFreq, s.endFreq,
                 AsSigned(s.numberOfFullCycles), AsSigned(s.decimationRate), s.workingDepth, s.requestedDepth,
                 s.distancePerSample, AsSigned(s.startSample), s.colourGain, s.gain,
                 AsSize(s.numberOfSamplesToProcess), s.levels.gainPercent, s.levels.gain,
                 s.levels.colourGainPercent, s.levels.colourGain, s.levels.clutterPercent, s.levels.clutter,
                 s.levels.bandwidthPercent, s.levels.burstLengthSeconds, s.steppedAnalogueGain, s.boostLevel,
                 s.burstLengthPercent, AsSize(s.numberOfSamplesToDisplay), AsSize(s.corrections.sampleDelay),
                 s.corrections.factor, s.corrections.burstLengthFactor, s.corrections.steppedGainFactor,
                 s.corrections.previousDepth);
}
