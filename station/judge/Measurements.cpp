#include "station/judge/Measurements.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace
{
constexpr double c_Any = std::numeric_limits<double>::infinity();
constexpr double c_LowestSample = -99; // with three digits
constexpr double c_HighestSample = 65535;
constexpr double c_MostSamples = 1'048'560;
constexpr double c_FaintestLevel = -100; // dBFS; one of 65,535 is -96.3

constexpr MeasurementRow_T c_Rows[] = {
    // What the text shows.
    {"batteryVoltage", "", -c_Any, c_Any, "the battery's voltage, as the file of the unit shows it"},
    {"lcdTemperature", "", -c_Any, c_Any, "the display's temperature, as the file of the unit shows it"},
    {"sensePin", "", -c_Any, c_Any, "the state of the sense pin, as the file of the unit shows it"},
    {"waterTemperature", "", -c_Any, c_Any, "the water's temperature, in degC if the FPGA measured it"},
    {"speedTicks", "", 0, c_Any, "the count of the paddle wheel's ticks, one measurement a reading"},
    {"speedTickRate", "1/s", -c_Any, c_Any, "ticks a second: the median growth from reading to reading"},
    {"firmwareMajor", "", 0, 255, "the firmware's version before the point"},
    {"firmwareMinor", "", 0, 255, "the firmware's version after the point"},
    // All samples of a ping.
    {"smallest", "counts", c_LowestSample, c_HighestSample, "the smallest sample"},
    {"largest", "counts", c_LowestSample, c_HighestSample, "the largest sample"},
    {"mean", "counts", c_LowestSample, c_HighestSample, "the mean of all samples"},
    {"distinctValues", "", 1, 65536, "how many different values the samples have"},
    {"stuckHighBits", "", 0, 16, "how many bits are 1 in every sample"},
    {"stuckLowBits", "", 0, 16, "how many bits are 0 in every sample"},
    {"dropouts", "", 0, c_MostSamples,
     "how many samples are in runs of one value that chance does not explain"},
    // The transmit pulse.
    {"pulseLevel", "counts", c_LowestSample, c_HighestSample, "the largest of the first samples"},
    {"pulseLevelDecibels", "dBFS", c_FaintestLevel, 20, "the same, below full scale", true},
    {"ringDownLength", "samples", 0, c_MostSamples, "from the first sample to the end of the ring-down"},
    {"clippedShare", "", 0, 1, "the share of samples at full scale after the ring-down"},
    // The quiet part.
    {"quietShare", "", 0, 1, "the share of samples that belong to the quiet part"},
    {"noiseFloor", "counts", 0, c_HighestSample, "the median of the quiet part"},
    {"noiseFloorDecibels", "dBFS", c_FaintestLevel, 20, "the same, below full scale", true},
    {"noiseSpread", "counts", 0, c_HighestSample, "from the lower to the upper quartile of the quiet part"},
    {"offset", "counts", c_LowestSample, c_HighestSample, "the first percentile of the quiet part"},
    {"missingCodes", "", 0, c_HighestSample, "how many values between the quartiles no sample has"},
    {"interferenceLevel", "counts", 0, c_HighestSample, "amplitude of the strongest line of the quiet part"},
    {"interferenceLevelDecibels", "dBFS", c_FaintestLevel, 20, "the same, below full scale", true},
    {"interferencePeriod", "samples", 2, c_MostSamples, "period of that line, if chance does not explain it"},
    // The bottom.
    {"bottomPosition", "samples", 0, c_MostSamples,
     "from the first sample to the front of the bottom's echo"},
    {"bottomRange", "m", 0, c_Any, "the same as a range, if the sample clock is known"},
    {"bottomLevel", "counts", 0, c_HighestSample, "the peak of the bottom's echo"},
    {"bottomLevelDecibels", "dBFS", c_FaintestLevel, 20, "the same, below full scale", true},
    {"bottomOverNoise", "", 0, c_Any, "the peak of the bottom's echo, divided by the noise floor"},
    {"bottomOverNoiseDecibels", "dB", 0, c_Any, "the same, as levels", true},
    {"bottomWidth", "samples", 0, c_MostSamples, "the area of the bottom's echo, divided by its peak"},
    // Compared with the ping before it of the same set-up.
    {"identicalSamples", "", 0, 1, "the share of samples that are the same as in the ping before"},
    {"repeatability", "counts", 0, c_HighestSample, "the median difference of a sample from the ping before"},
};
} // namespace

std::span<const MeasurementRow_T> MeasurementRows() { return c_Rows; }

const MeasurementRow_T* MeasurementOf(std::string_view name)
{
    const auto* const row = std::ranges::find(c_Rows, name, &MeasurementRow_T::name);
    return row == std::end(c_Rows) ? nullptr : row;
}
