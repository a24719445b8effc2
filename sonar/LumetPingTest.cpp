#include "sonar/PingMetaData.h"
#include "sonar/SonarTestController.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace
{
constexpr std::uint32_t c_SonarChannel = 0;

// The output of sonarbench-make-correlation, which says where the numbers come from.
constexpr std::int16_t c_Filter200Long[] = {
    1137,  1315,  1504,  1705,  1917,  2141,  2377,  2625,  2886,  3158,  3443,  3739,  4049,  4370,  4703,
    5048,  5406,  5775,  6156,  6548,  6951,  7365,  7791,  8226,  8672,  9127,  9592,  10066, 10549, 11039,
    11538, 12044, 12556, 13075, 13599, 14129, 14663, 15201, 15743, 16287, 16833, 17381, 17929, 18478, 19026,
    19572, 20117, 20658, 21197, 21731, 22260, 22784, 23301, 23811, 24314, 24807, 25292, 25767, 26232, 26685,
    27126, 27555, 27970, 28372, 28759, 29132, 29489, 29830, 30154, 30461, 30751, 31022, 31276, 31510, 31725,
    31921, 32097, 32253, 32389, 32504, 32598, 32598, 32598, 32598, 32598, 32598, 32598, 32598, 32598, 32504,
    32389, 32253, 32097, 31921, 31725, 31510, 31276, 31022, 30751, 30461, 30154, 29830, 29489, 29132, 28759,
    28372, 27970, 27555, 27126, 26685, 26232, 25767, 25292, 24807, 24314, 23811, 23301, 22784, 22260, 21731,
    21197, 20658, 20117, 19572, 19026, 18478, 17929, 17381, 16833, 16287, 15743, 15201, 14663, 14129, 13599,
    13075, 12556, 12044, 11538, 11039, 10549, 10066, 9592,  9127,  8672,  8226,  7791,  7365,  6951,  6548,
    6156,  5775,  5406,  5048,  4703,  4370,  4049,  3739,  3443,  3158,  2886,  2625,  2377,  2141,  1917,
    1705,  1504,  1315,  1137,
};
constexpr std::int16_t c_Filter350Long[] = {
    1147,  1326,  1515,  1716,  1929,  2154,  2390,  2639,  2900,  3173,  3458,  3755,  4064,  4386,  4720,
    5065,  5423,  5792,  6173,  6566,  6969,  7384,  7809,  8245,  8691,  9146,  9611,  10085, 10568, 11058,
    11557, 12063, 12575, 13094, 13618, 14147, 14681, 15219, 15760, 16304, 16850, 17397, 17945, 18493, 19041,
    19587, 20131, 20672, 21210, 21744, 22272, 22796, 23312, 23822, 24324, 24817, 25302, 25776, 26240, 26693,
    27133, 27561, 27977, 28378, 28765, 29137, 29493, 29833, 30157, 30464, 30753, 31025, 31278, 31512, 31727,
    31922, 32098, 32254, 32389, 32504, 32598, 32598, 32598, 32598, 32598, 32598, 32598, 32598, 32598, 32504,
    32389, 32254, 32098, 31922, 31727, 31512, 31278, 31025, 30753, 30464, 30157, 29833, 29493, 29137, 28765,
    28378, 27977, 27561, 27133, 26693, 26240, 25776, 25302, 24817, 24324, 23822, 23312, 22796, 22272, 21744,
    21210, 20672, 20131, 19587, 19041, 18493, 17945, 17397, 16850, 16304, 15760, 15219, 14681, 14147, 13618,
    13094, 12575, 12063, 11557, 11058, 10568, 10085, 9611,  9146,  8691,  8245,  7809,  7384,  6969,  6566,
    6173,  5792,  5423,  5065,  4720,  4386,  4064,  3755,  3458,  3173,  2900,  2639,  2390,  2154,  1929,
    1716,  1515,  1326,  1147,
};

struct Setting_T {
    CPingMetaData ping; ///< without its filter
    std::string_view name;
    std::span<const std::int16_t> filter;
};

const Setting_T c_Settings[] = {
    {.ping = {.m_Setting = 1,
              .m_Channel = 0,
              .m_NumberOfSamples = 1024,
              .m_BaseBandFilterCentreFreq = 12098499,
              .m_SubSampleRate = 3,
              .m_NominalStartFreq = 2000,
              .m_NominalEndFreq = 2000,
              .m_StartFreq = 12098499,
              .m_BurstLength = 205,
              .m_SampleSlots = 1024,
              .m_CorrelationScaling = 243,
              .m_CorrelationDownShift = 16,
              .m_BoostLevel = 91},
     .name = "200long",
     .filter = c_Filter200Long},
    {.ping = {.m_Setting = 1,
              .m_Channel = 1,
              .m_NumberOfSamples = 1024,
              .m_BaseBandFilterCentreFreq = 21262214,
              .m_SubSampleRate = 3,
              .m_NominalStartFreq = 3500,
              .m_NominalEndFreq = 3500,
              .m_StartFreq = 21172373,
              .m_BurstLength = 359,
              .m_SampleSlots = 1024,
              .m_CorrelationScaling = 243,
              .m_CorrelationDownShift = 16,
              .m_BoostLevel = 91},
     .name = "350long",
     .filter = c_Filter350Long},
};
} // namespace

std::optional<CPingMetaData> LumetSetting(std::string_view name)
{
    const auto* const setting = std::ranges::find(c_Settings, name, &Setting_T::name);
    if (setting == std::end(c_Settings)) {
        return std::nullopt;
    }
    CPingMetaData ping = setting->ping;
    for (const std::int16_t coefficient : setting->filter) {
        ping.m_CorrelationFilter.push_back({0, coefficient});
    }
    return ping;
}

int CSonarTestController::LumetPing(std::string* out, const QString& frequency)
{
    const Product_T& product = GetProduct();
    if (!product.ping.keepsFirmware) {
        // The result is ignored: the ping reads the version, which shows whether there is firmware.
        std::string unused;
        LoadFPGABinary(unused, false);
    }
    std::optional<CPingMetaData> ping = LumetSetting(frequency.toLatin1().toStdString());
    if (!ping) {
        return Fail("ERROR: Unknown frequency request.\n", out);
    }
    if (ping->m_Channel == c_SonarChannel && product.ping.lacksSonarChannel) {
        return Fail("ERROR: Channel 0 (Sonar) does not exist. Will not ping.\n", out);
    }
    return Ping(out, *ping);
}
