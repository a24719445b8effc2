#include "Database/DatabaseLumetPingMetaData.h"
#include "PingProcessing/ProgramFpga/ConfigureFpga.h"
#include "Utilities/FPGAIF.h"
#include "Utilities/OSSLinuxFactory.h"
#include "sonar/PingMetaData.h"
#include "sonar/SampleBlock.h"
#include "sonar/SonarTestController.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// Shows how to use ping metadata records: fill them, write them for other processes, and configure the FPGA
// from them.

namespace
{
constexpr char c_DefaultDirectory[] = "/tmp";
constexpr char c_DefaultChannels[] = "01";
constexpr std::array<const char*, 2> c_Settings = {"200long", "350long"}; ///< of channel 0 and channel 1
constexpr unsigned int c_CommandFirstChannel = 0x02; ///< bit of channel 0; the next one is channel 1's
constexpr std::uint8_t c_SteppedGain = 50;
constexpr int c_InterruptMode = 0;

using Record_T = CDatabaseLumetPingMetaData;

int Fail(const char* step, int code)
{
    std::fprintf(stderr, "metadata_ping: %s failed with %d\n", step, code);
    return EXIT_FAILURE;
}

/// Fills a record with one of the program's built-in Lumet pings.
void Fill(Record_T& record, std::uint8_t channel)
{
    const CPingMetaData ping = LumetSetting(c_Settings[channel]).value();
    record.SetChannel(channel);
    record.SetNumberOfSamples(ping.m_NumberOfSamples);
    record.SetCalculatedSteppedAnalogueGain(c_SteppedGain);
    record.SetBasebandCentreFreq(ping.m_BaseBandFilterCentreFreq);
    record.SetCorrelationTable({.coefficients = ping.m_CorrelationFilter,
                                .downShift = static_cast<std::uint8_t>(ping.m_CorrelationDownShift),
                                .scaling = static_cast<std::uint8_t>(ping.m_CorrelationScaling)});
    record.SetSubSampleRate(ping.m_SubSampleRate);
    record.SetStartFreq(static_cast<std::uint16_t>(ping.m_NominalStartFreq));
    record.SetEndFreq(static_cast<std::uint16_t>(ping.m_NominalEndFreq));
    record.SetChirpStartFreq(ping.m_StartFreq);
    record.SetChirpIncrement(ping.m_ChirpIncrement);
    record.SetBurstLengthInFullCycles(ping.m_BurstLength);
    record.SetCalculatedBoostLevel(static_cast<std::uint8_t>(ping.m_BoostLevel));
}

/// Reads an active channel's samples into its record and prints them.
TSQEventCode_T ReadSamples(CFPGAIF& fpga, Record_T& record)
{
    if (!record.GetActive()) {
        return c_Success;
    }
    // The buffer's size is the number of bytes that the FPGA sends; each becomes a float of the raw ping
    // data.
    Buffer_Bytes_T buffer(record.GetRawPingDataPtr(), record.GetNumberOfSamples());
    const TSQEventCode_T result = fpga.GetPing(record.GetChannel(), &buffer, c_InterruptMode);
    if (result == c_Success) {
        std::vector<float> samples(record.GetNumberOfSamples());
        std::memcpy(samples.data(), record.GetRawPingDataPtr(), samples.size() * sizeof(float));
        OutputAsString(samples.data(), static_cast<int>(samples.size()));
    }
    return result;
}
} // namespace

/// Usage: metadata_ping [DIRECTORY [CHANNELS]]. Pings the channels (01 unless given) of a Lumet unit from two
/// records, whose files it leaves in the directory. Try it with
///   sonarbench-sim --product LumetV2 --write . --program build/release/bin/metadata_ping .
int main(int argc, char** argv)
{
    const std::string directory = argc > 1 ? argv[1] : c_DefaultDirectory;
    const std::string channels = argc > 2 ? argv[2] : c_DefaultChannels;

    // The start-up of a sounder: environment, power, firmware.
    CSonarTestController controller;
    std::string output;
    if (controller.EnableSonar(&output) != OPERATION_PERFORMED ||
        controller.LoadFPGABinary(output, true) != TEST_PASSED) {
        std::fputs(output.c_str(), stderr);
        return EXIT_FAILURE;
    }
    COSSLinuxFactory factory;
    factory.SetEnv("NONPERSISTED_DATABASE_ROOT", (directory + "/").c_str(), true);
    CFPGAIF fpga(&factory, 0);
    if (fpga.GetInterfaceType() != eFpgaIfLumetSpi) {
        return Fail("looking for a Lumet FPGA", c_NoFpgaInterface);
    }

    // The records, one per channel, and their files.
    Record_T first(&factory, 0);
    Record_T second(&factory, 1);
    Record_T* records[] = {&first, &second};
    bLumetCommandByte fire{c_CommandStartPing};
    for (const std::uint8_t channel : {std::uint8_t{0}, std::uint8_t{1}}) {
        Record_T& record = *records[channel];
        Fill(record, channel);
        record.SetActive(channels.find(static_cast<char>('0' + channel)) != std::string::npos);
        if (record.GetActive()) {
            fire.value = static_cast<std::uint8_t>(fire.value | c_CommandFirstChannel << channel);
        }
        if (const TSQEventCode_T code = record.writeDB(); code != c_Success) {
            return Fail(record.GetDBFilePath().c_str(), code);
        }
    }

    if (const TSQEventCode_T code = CConfigureFpga().Configure(records, &fpga); code != c_Success) {
        return Fail("configuring the FPGA", code);
    }
    if (const TSQEventCode_T code = fpga.PingNow(fire); code != c_Success) {
        return Fail("firing the ping", code);
    }
    for (Record_T* pRecord : records) {
        if (const TSQEventCode_T code = ReadSamples(fpga, *pRecord); code != c_Success) {
            return Fail("reading the samples", code);
        }
    }
    return EXIT_SUCCESS;
}
