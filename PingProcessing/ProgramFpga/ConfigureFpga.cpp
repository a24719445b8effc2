#include "PingProcessing/ProgramFpga/ConfigureFpga.h"

#include "Database/DatabaseLumetPingMetaData.h"
#include "Database/DatabasePingMetaData.h"
#include "Utilities/FPGAIF.h"

#include <cassert>

namespace
{
/// The record with a channel's settings: an inactive channel receives with the other channel's.
const CDatabasePingMetaData& SourceOf(const CDatabasePingMetaData& own,
                                      const CDatabasePingMetaData& neighbour)
{
    return own.GetActive() ? own : neighbour;
}

LSChannelConfigure_T ChannelConfiguration(LSChannel_T channel, const CDatabasePingMetaData& own,
                                          const CDatabasePingMetaData& neighbour)
{
    const CDatabasePingMetaData& source = SourceOf(own, neighbour);
    return {.channel = channel,
            .period = own.GetActive() ? own.GetNumberOfFullCycles() : 0,
            .startFrequency = source.GetStartFreq(),
            .endFrequency = source.GetEndFreq(),
            .samplesA = source.GetNumberOfSamples(),
            .samplesB = source.GetSampleDelay(),
            .decimationRate = source.GetDecimationRate(),
            .gain = source.GetGain(),
            .colourGain = source.GetColourGain(),
            .analogueGainLevel = source.GetCalculatedSteppedAnalogueGain()};
}

void QueueChannel(CFPGAIF& fpga, const CDatabaseLumetPingMetaData& record, FPGAChannel_T channel)
{
    const CorrelationFilterSettings_T& table = record.GetCorrelationTable();
    fpga.SetNumberOfSamplesToReceive(record.GetNumberOfSamples(), channel);
    fpga.SetSteppedAnalogueGain(record.GetCalculatedSteppedAnalogueGain(), channel);
    fpga.SetBaseBandFilterCentreFreq(record.GetBasebandCentreFreq(), channel);
    fpga.SetCorrelationFilter(table.coefficients, channel);
    fpga.SetCorralationDownShift(table.downShift, channel);
    fpga.SetSubSampleRate(record.GetSubSampleRate(), channel);
    fpga.SetStartFreq(record.GetChirpStartFreq(), channel);
    fpga.SetChirpIncrement(record.GetChirpIncrement(), channel);
    fpga.SetBurstLength(record.GetBurstLengthInFullCycles(), channel);
    fpga.SetCorralationScaling(table.scaling, channel);
    fpga.SetBoostLevel(record.GetCalculatedBoostLevel());
    fpga.SetFifoCntrlRegister(bCorFifoCntrlByte{}, channel);
}
} // namespace

TSQEventCode_T CConfigureFpga::Configure(CDatabasePingMetaData** PingMetaData, CFPGAIF* LowscanIF, bool)
{
    assert(PingMetaData && "No PingMetaData passed in");
    assert(LowscanIF && "No LowscanIF passed in");
    assert(PingMetaData[0] && PingMetaData[1]);
    const CDatabasePingMetaData& first = *PingMetaData[0];
    const CDatabasePingMetaData& second = *PingMetaData[1];
    const LSChannelConfigure_T channel0 = ChannelConfiguration(0, first, second);
    const LSChannelConfigure_T channel1 = ChannelConfiguration(1, second, first);
    const auto gains = static_cast<std::uint8_t>(channel0.analogueGainLevel | channel1.analogueGainLevel);
    return LowscanIF->setUpForPing({.channel0 = channel0,
                                    .channel1 = channel1,
                                    .analogueGainLevel = gains,
                                    .boostLevel = SourceOf(second, first).GetCalculatedBoostLevel(),
                                    .boostEnable = 0});
}

TSQEventCode_T CConfigureFpga::Configure(CDatabaseLumetPingMetaData** PingMetaData, CFPGAIF* FpgaInterface)
{
    assert(FpgaInterface && "No FpgaInterface Passed to ConfigureFpga");
    assert(PingMetaData && PingMetaData[0] && PingMetaData[1]);
    bLumetStatusByte status; // read but not used
    FpgaInterface->GetStatusRegister(&status);
    for (const FPGAChannel_T channel : {FPGAChannel_T{0}, FPGAChannel_T{1}}) {
        if (PingMetaData[channel]->GetActive()) {
            QueueChannel(*FpgaInterface, *PingMetaData[channel], channel);
        }
    }
    return FpgaInterface->UpdateFPGA();
}

TSQEventCode_T CConfigureFpga::Configure(const CDatabasePingParametersMessage*, const CDatabaseFPGACache*,
                                         CFPGAIF* FpgaInterface, bool)
{
    assert(FpgaInterface && "No FpgaInterface Passed to ConfigureFpga");
    return c_Success;
}

TSQEventCode_T CConfigureFpga::Configure(const CDatabaseQL6MPingMetaData*, CFPGAIF* FpgaInterface, bool)
{
    assert(FpgaInterface && "No FpgaInterface Passed to ConfigureFpga");
    return c_Success;
}
