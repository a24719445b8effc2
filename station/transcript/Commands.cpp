#include "station/transcript/Commands.h"

#include "station/transcript/Pattern.h"

#include <algorithm>
#include <iterator>
#include <utility>

using namespace Evidence;

namespace
{
/// As the program reads its arguments: a text that is not a number is 0.
std::int64_t NumberOf(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    text.remove_prefix(text.starts_with('+') ? 1 : 0);
    return static_cast<int>(LeadingNumber(text));
}

/// One reading at the beginning, and one at the end of each second.
const char* WrongTicks(const Run_T& run)
{
    // Blanks before the number were split into empty words.
    const auto word = std::ranges::find_if_not(run.arguments, &Bytes_T::empty);
    const std::int64_t duration = word == run.arguments.end() ? 0 : NumberOf(*word);
    return duration != 0 && run.facts.ticks != static_cast<std::uint64_t>(duration) + 1
               ? "the number of readings does not fit the number of seconds"
               : nullptr;
}

/// The increment is lowered until it divides the number of samples.
const char* WrongCount(const Run_T& run)
{
    if (run.samples.taken > c_MostSamples) {
        return "there are more samples than an FPGA can count";
    }
    const auto taken = static_cast<std::int64_t>(run.samples.taken);
    std::int64_t step =
        std::clamp<std::int64_t>(NumberOf(run.arguments.back()), 1, std::max<std::int64_t>(taken, 1));
    while (taken % step != 0) {
        --step;
    }
    // Only the very last sample of a ping has no comma.
    const bool isWhole = taken > 0 && std::cmp_equal(run.samples.values.size(), taken / step) &&
                         run.samples.hasLastComma == (step > 1);
    return isWhole && run.facts.bufferBytes == run.samples.taken * 2
               ? nullptr
               : "the number of samples is not the one that the run states";
}

const char* WrongSetting(const Run_T& run)
{
    // The last of the parameters is the number of samples.
    return !run.parameters.empty() &&
                   run.parameters.back().value == static_cast<double>(run.samples.values.size())
               ? nullptr
               : "the number of samples is not the one that the run states";
}

const char* NoNumber(const Run_T& run)
{
    return run.measurements.size() == 1 && run.facts.readingLines == 1 && run.facts.readingBlanks <= 1
               ? nullptr
               : "the value is not a single number";
}

/// Of a unit whose sounder had to be stopped.
constexpr unsigned int c_Stops = c_StopAsked | c_StopAnswered | c_GainPerhaps;
constexpr unsigned int c_Loads = c_ImageCopied | c_Loading | c_Notice;
constexpr unsigned int c_BuiltIn = c_Notice | c_Version | c_Attempt | c_Samples;

constexpr CommandText_T Shows(std::string_view command, const char* measurement, unsigned int allowed = 0)
{
    return {.command = command,
            .verdict = Verdict::Performed,
            .required = c_Reading,
            .allowed = allowed,
            .measurement = measurement,
            .objection = NoNumber};
}

constexpr CommandText_T c_Texts[] = {
    Shows("batteryvoltage", "batteryVoltage"),
    Shows("lcdtemperature", "lcdTemperature"),
    Shows("sensepin", "sensePin"),
    Shows("watertemperature", "waterTemperature", c_Version),
    {.command = "loadfpgabinary", .required = c_Loads | c_Version},
    {.command = "speed", .arguments = 1, .required = c_Loads | c_Ticks, .objection = WrongTicks},
    {.command = "ping",
     .arguments = 6,
     .required = c_GainAccepted | c_EarlyNotice | c_ParametersTitle | c_Parameters | c_Samples | c_Version,
     .samples = 993,
     .channelArgument = 5,
     .objection = WrongSetting},
    // Some products keep their firmware.
    {.command = "lumetping",
     .arguments = 1,
     .required = c_BuiltIn,
     .allowed = c_ImageCopied,
     .samples = 1024},
    {.command = "lowscanping",
     .arguments = 1,
     .required = c_BuiltIn,
     .allowed = c_ImageCopied,
     .samples = 1024},
    {.command = "xkping",
     .arguments = 3,
     .required = c_Loads | c_Samples | c_Element | c_SampleCount,
     .channelArgument = 2,
     .objection = WrongCount},
};
} // namespace

std::span<const CommandText_T> CommandTexts() { return c_Texts; }

std::vector<std::string> CommandNames()
{
    std::vector<std::string> names;
    for (const CommandText_T& row : c_Texts) {
        names.emplace_back(row.command);
    }
    return names;
}

const CommandText_T* TextOf(std::string_view command)
{
    const auto* const row = std::ranges::find(c_Texts, command, &CommandText_T::command);
    return row == std::end(c_Texts) ? nullptr : row;
}

bool IsAllowed(const CommandText_T& row, unsigned int evidence)
{
    return (evidence & ~(row.required | row.allowed | c_Stops)) == 0;
}

bool CanComeBefore(std::string_view command, unsigned int evidence)
{
    const CommandText_T* const row = TextOf(command);
    return row == nullptr ? (evidence & ~c_Stops) == 0 : IsAllowed(*row, evidence);
}
