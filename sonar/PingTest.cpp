#include "Utilities/FPGAIF.h"
#include "Utilities/OSSLinuxFactory.h"
#include "Utilities/Saturate.h"
#include "sonar/PingMetaData.h"
#include "sonar/SampleBlock.h"
#include "sonar/SonarTestController.h"

#include <algorithm>
#include <iterator>

namespace
{
struct GainLevel_T {
    QLatin1String word;
    unsigned char level;
};

// That medium is below low is intended.
constexpr GainLevel_T c_GainLevels[] = {
    {QLatin1String("high"), 30}, {QLatin1String("medium"), 10}, {QLatin1String("low"), 20}};

constexpr unsigned int c_Samples = 993;
constexpr double c_DepthOfSample = 0.0003562607; // between two samples when none is dropped
constexpr unsigned char c_FixedBoostLevel = 181;

constexpr unsigned char c_SteppedGain = 50;
constexpr int c_InterruptMode = 0;

/// Period of each channel's pulse, and the channel whose echo is read.
struct PingChannels_T {
    LSPeriod_T period0;
    LSPeriod_T period1;
    unsigned char active;
};

LSFpgaCompleteConfigure_T Configuration(const PingChannels_T& channels, double startFreq, double endFreq,
                                        LSDecimationRate_T decimationRate, unsigned char gainLevel)
{
    const LSChannelConfigure_T channel0{.channel = 0,
                                        .period = channels.period0,
                                        .startFrequency = startFreq,
                                        .endFrequency = endFreq,
                                        .samplesA = c_Samples,
                                        .samplesB = 0,
                                        .decimationRate = decimationRate,
                                        .gain = 0.0,
                                        .colourGain = 1.0,
                                        .analogueGainLevel = gainLevel};
    LSChannelConfigure_T channel1 = channel0;
    channel1.channel = 1;
    channel1.period = channels.period1;
    return {.channel0 = channel0,
            .channel1 = channel1,
            .analogueGainLevel = gainLevel,
            .boostLevel = c_FixedBoostLevel,
            .boostEnable = 1};
}

std::string WrongSize(int) { return "Wrong size.\n"; }

/// Queues the whole configuration, up to the first operation that fails.
bool Populate(CFPGAIF& fpga, const CPingMetaData& meta)
{
    const auto channel = static_cast<unsigned char>(meta.m_Channel);
    // For registers of 8 bits.
    const auto byte = [](std::uint32_t value) { return static_cast<unsigned char>(value); };
    return fpga.SetNumberOfSamplesToReceive(meta.m_NumberOfSamples, channel) == c_Success &&
           fpga.SetSteppedAnalogueGain(c_SteppedGain, channel) == c_Success &&
           fpga.SetBaseBandFilterCentreFreq(meta.m_BaseBandFilterCentreFreq, channel) == c_Success &&
           fpga.SetCorrelationFilter(meta.m_CorrelationFilter, channel) == c_Success &&
           fpga.SetCorralationDownShift(byte(meta.m_CorrelationDownShift), channel) == c_Success &&
           fpga.SetSubSampleRate(meta.m_SubSampleRate, channel) == c_Success &&
           fpga.SetStartFreq(meta.m_StartFreq, channel) == c_Success &&
           fpga.SetChirpIncrement(meta.m_ChirpIncrement, channel) == c_Success &&
           fpga.SetBurstLength(meta.m_BurstLength, channel) == c_Success &&
           fpga.SetCorralationScaling(byte(meta.m_CorrelationScaling), channel) == c_Success &&
           fpga.SetBoostLevel(byte(meta.m_BoostLevel)) == c_Success;
}

/// Command that fires: bit 1 is channel 0, bit 2 channel 1.
bLumetCommandByte FireOn(std::uint32_t channel)
{
    const unsigned int channels = channel <= 1 ? 0x02U << channel : 0U;
    return {static_cast<std::uint8_t>(c_CommandStartPing | channels)};
}
} // namespace

unsigned char CSonarTestController::GetAppropriateAnalogueGainLevel(const QString& word)
{
    // Case-sensitive, unlike the command line: "Medium", as the usage writes it, is level 0.
    const auto* const gain = std::ranges::find(c_GainLevels, word, &GainLevel_T::word);
    return gain == std::end(c_GainLevels) ? 0 : gain->level;
}

int CSonarTestController::Ping(std::string* out, double startFreq, double endFreq, unsigned int depth,
                               unsigned int period, unsigned int channel, const QString& gain)
{
    if (GetProduct().ping.refusesPing) {
        return Fail("ERROR: Do not use ping for Lumet or New QL derivitives. Use lumetping instead.\n", out);
    }
    const auto print = [this](const std::string& text) { Message(text, nullptr, true, false); };
    COSSLinuxFactory factory;
    Message(m_InterfaceNotice, nullptr, true, false);
    CFPGAIF fpga(&factory, c_FirstElement);
    if (ReadSonarVersionEnsureValid(out, &fpga, c_FirstChannel) != TEST_PASSED) {
        return TEST_FAILED;
    }

    TestResult_T result = TEST_PASSED;
    PingChannels_T channels{period, period, 255};
    if (channel <= 1) {
        channels = {channel == 0 ? period : 0, channel == 1 ? period : 0,
                    static_cast<unsigned char>(channel)};
    } else {
        // The ping is fired anyway, on purpose.
        print("Invalid channel Specified: " + std::to_string(static_cast<int>(channel)) + "\n");
        Message(std::string("Channel must be 1 or 0.\n"), out, false, true);
        result = TEST_FAILED;
    }
    const LSDecimationRate_T decimationRate = SaturateToUnsigned(depth / c_DepthOfSample / c_Samples);

    std::vector<float> samples(c_Samples);
    std::vector<float> values(c_Samples);
    Buffer_Bytes_T sampleBytes(reinterpret_cast<std::uint8_t*>(samples.data()),
                               samples.size() * sizeof(float));
    Buffer_Bytes_T valueBytes(reinterpret_cast<std::uint8_t*>(values.data()), values.size() * sizeof(float));
    // A failed step is reported, and the sequence continues.
    HandleReturn(fpga.Flush(channels.active), result);
    HandleReturn(fpga.setUpForPing(Configuration(channels, startFreq, endFreq, decimationRate,
                                                 GetAppropriateAnalogueGainLevel(gain))),
                 result);
    HandleReturn(fpga.PingNow(), result);
    fpga.WaitForData();
    HandleReturn(fpga.GetPing(channels.active, &sampleBytes, &valueBytes), result);

    print(QString::asprintf("\nParameters:\nCh0Period = %d; Ch1Period = %d ; Start freq = %f; End freq = %f; "
                            "Decimation rate = %d ; Samples = %d\n",
                            static_cast<int>(channels.period0), static_cast<int>(channels.period1), startFreq,
                            endFreq, static_cast<int>(decimationRate), static_cast<int>(c_Samples))
              .toStdString());
    const int printed = OutputAsString(samples.data(), static_cast<int>(samples.size()), WrongSize);
    return printed == TEST_PASSED ? result : TEST_FAILED;
}

int CSonarTestController::Ping(std::string* out, const CPingMetaData& meta)
{
    COSSLinuxFactory factory;
    Message(m_InterfaceNotice, out, false, true);
    CFPGAIF fpga(&factory, c_FirstElement);
    if (ReadSonarVersionEnsureValid(out, &fpga, c_FirstChannel) != TEST_PASSED || !Populate(fpga, meta)) {
        return Fail("ERROR: Failed to populate FPGA data.\n", out);
    }
    if (fpga.UpdateFPGA() != c_Success) {
        return Fail("ERROR: UpdateFPGA failed.\n", out);
    }
    Message(QString::asprintf("Attempting ping on channel %d (%s) at start frequency of: %d\n",
                              static_cast<int>(meta.m_Channel), meta.m_Channel == 0 ? "Sonar" : "Lowscan",
                              static_cast<int>(meta.m_StartFreq)),
            out, false, true);
    if (fpga.PingNow(FireOn(meta.m_Channel)) != c_Success) {
        return Fail("ERROR: Ping failed.\n", out);
    }

    std::vector<float> samples(meta.m_SampleSlots);
    // The size is the number of samples: the FPGA sends a byte for each, the facade makes it a float.
    Buffer_Bytes_T buffer(reinterpret_cast<std::uint8_t*>(samples.data()), meta.m_NumberOfSamples);
    if (fpga.GetPing(static_cast<unsigned char>(meta.m_Channel), &buffer, c_InterruptMode) != c_Success) {
        return Fail("ERROR: Get ping failed.\n", out);
    }
    const int printed = OutputAsString(samples.data(), static_cast<int>(meta.m_NumberOfSamples));
    return printed == TEST_PASSED ? printed : Fail("ERROR: OutputAsString failed.\n", out);
}
