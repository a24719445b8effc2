#include "sonar/PingMetaData.h"
#include "sonar/SonarTestController.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace
{
constexpr std::uint32_t c_SonarChannel = 0;

// The output of sonarbench-make-correlation, up to the middle: the second half repeats the first backwards.
// The generator says where the numbers come from.
constexpr std::int16_t c_Filter200Long[] = {
    1137,  1315,  1504,  1705,  1917,  2141,  2377,  2625,  2886,  3158,  3443,  3739,  4049,  4370,  4703,
    5048,  5406,  5775,  6156,  6548,  6951,  7365,  7791,  8226,  8672,  9127,  9592,  10066, 10549, 11039,
    11538, 12044, 12556, 13075, 13599, 14129, 14663, 15201, 15743, 16287, 16833, 17381, 17929, 18478, 19026,
    19572, 20117, 20658, 21197, 21731, 22260, 22784, 23301, 23811, 24314, 24807, 25292, 25767, 26232, 26685,
    27126, 27555, 27970, 28372, 28759, 29132, 29489, 29830, 30154, 30461, 30751, 31022, 31276, 31510, 31725,
    31921, 32097, 32253, 32389, 32504, 32598, 32598, 32598, 32598, 32598,
};
constexpr std::int16_t c_Filter350Long[] = {
    1147,  1326,  1515,  1716,  1929,  2154,  2390,  2639,  2900,  3173,  3458,  3755,  4064,  4386,  4720,
    5065,  5423,  5792,  6173,  6566,  6969,  7384,  7809,  8245,  8691,  9146,  9611,  10085, 10568, 11058,
    11557, 12063, 12575, 13094, 13618, 14147, 14681, 15219, 15760, 16304, 16850, 17397, 17945, 18493, 19041,
    19587, 20131, 20672, 21210, 21744, 22272, 22796, 23312, 23822, 24324, 24817, 25302, 25776, 26240, 26693,
    27133, 27561, 27977, 28378, 28765, 29137, 29493, 29833, 30157, 30464, 30753, 31025, 31278, 31512, 31727,
    31922, 32098, 32254, 32389, 32504, 32598, 32598, 32598, 32598, 32598,
};

struct Setting_T {
    CPingMetaData ping; ///< without its filter
    std::string_view name;
    std::span<const std::int16_t> filter; ///< up to its middle
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
    const auto add = [&ping](std::int16_t coefficient) {
        ping.m_CorrelationFilter.push_back({0, coefficient});
    };
    std::ranges::for_each(setting->filter, add);
    std::for_each(std::next(setting->filter.rbegin()), setting->filter.rend(), add);
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
