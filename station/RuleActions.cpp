#include "station/RuleActions.h"

#include "station/Number.h"
#include "station/SampleText.h"

namespace
{
constexpr double c_HertzPerStep = 100;         // centre frequencies are printed in hundreds of hertz
constexpr std::int64_t c_NoMajorVersion = 255; // as is 0

double ValueOf(std::string_view text) { return DecimalNumber(text).value_or(0); }

void Keep(OpenRun_T& open, const Quantity_T& measurement)
{
    // One is left for the reading.
    if (open.run.measurements.size() + 1 < c_MostMeasurements) {
        open.run.measurements.push_back(measurement);
    }
}

} // namespace

bool TakeImage(OpenRun_T& open, const Captures_T& captures)
{
    const std::string_view path = captures[0];
    open.run.unit.firmwareImage = path.substr(path.rfind('/') + 1);
    return true;
}

bool TakeParameters(OpenRun_T& open, const Captures_T& captures)
{
    static constexpr Quantity_T c_Parameters[] = {{"channel0Period"},          {"channel1Period"},
                                                  {"startFrequency", 0, "Hz"}, {"endFrequency", 0, "Hz"},
                                                  {"decimationRate"},          {"samples"}};
    for (std::size_t index = 0; index < captures.size(); ++index) {
        Quantity_T parameter = c_Parameters[index];
        parameter.value = ValueOf(captures[index]);
        open.run.parameters.push_back(parameter);
    }
    return true;
}

bool TakeSamples(OpenRun_T& open, const Captures_T& captures)
{
    return ReadSamples(captures[0], open.run.samples);
}

bool TakeElement(OpenRun_T& open, const Captures_T& captures)
{
    Samples_T& samples = open.run.samples;
    samples.element = static_cast<int>(LeadingNumber(captures[0]));
    samples.centreHertz = ValueOf(captures[1]) * c_HertzPerStep;
    samples.band = captures[2];
    return true;
}

bool TakeChannelAndElement(OpenRun_T& open, const Captures_T& captures)
{
    open.run.samples.channel = static_cast<int>(LeadingNumber(captures[0]));
    return TakeElement(open, {captures[1], captures[2], captures[3]});
}

bool TakeSampleCount(OpenRun_T& open, const Captures_T& captures)
{
    open.run.samples.taken = static_cast<std::uint64_t>(LeadingNumber(captures[0]));
    open.facts.bufferBytes = static_cast<std::uint64_t>(LeadingNumber(captures[1]));
    return true;
}

bool TakeVersion(OpenRun_T& open, const Captures_T& captures)
{
    open.run.unit.firmwareVersion = Bytes_T(captures[0]) + "." + Bytes_T(captures[1]);
    const std::int64_t major = LeadingNumber(captures[0]);
    open.facts.hasFirmware = major > 0 && major < c_NoMajorVersion;
    return true;
}

bool TakeTicks(OpenRun_T& open, const Captures_T& captures)
{
    ++open.facts.ticks;
    Keep(open, {"speedTicks", ValueOf(captures[0])});
    return true;
}

bool TakeAttempt(OpenRun_T& open, const Captures_T& captures)
{
    open.run.samples.channel = static_cast<int>(LeadingNumber(captures[0]));
    open.run.parameters.push_back({"startFrequencyWord", ValueOf(captures[2])});
    return true;
}

/// The link has no such operation, or the unit no FPGA: the test is not for this product.
bool TakeCode(OpenRun_T& open, const Captures_T& captures)
{
    if ((captures[0] == "-174" || captures[0] == "-177") && open.facts.untested.empty()) {
        open.facts.untested = "the unit has no such operation: " + Bytes_T(captures[0]);
    }
    return true;
}

bool TakeUsage(OpenRun_T& open, const Captures_T&)
{
    open.facts.showsUsage = true;
    return true;
}
