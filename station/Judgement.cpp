#include "station/Judgement.h"

#include "station/Number.h"

#include <algorithm>
#include <iterator>
#include <utility>

using namespace Evidence;

namespace
{
/// What a command prints when it is carried out.
struct Expectation_T {
    std::string_view command;
    Verdict verdict = Verdict::Passed;
    std::size_t arguments = 0; ///< at least
    unsigned int required = 0;
    unsigned int allowed = 0;          ///< beside the required
    std::size_t samples = 0;           ///< that are printed; 0: none, or the run says how many
    const char* measurement = nullptr; ///< name of what the command shows; null: it is no reading
    /// What else must hold: why not, or null when it does.
    const char* (*objection)(const Run_T&, const Facts_T&) = nullptr;
};

constexpr std::uint64_t c_MostSamples = 1'048'560; // the FPGA counts them in 16 bits, by 16

/// As the program reads its arguments, of which a text that is none counts as 0.
std::int64_t NumberOf(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    text.remove_prefix(text.starts_with('+') ? 1 : 0);
    return static_cast<int>(LeadingNumber(text));
}

/// One at the beginning and one at the end of each second.
const char* WrongTicks(const Run_T& run, const Facts_T& facts)
{
    // An argument with blanks before the number comes as words without a letter, and then the number.
    const auto word = std::ranges::find_if_not(run.arguments, &Bytes_T::empty);
    const std::int64_t duration = word == run.arguments.end() ? 0 : NumberOf(*word);
    return duration != 0 && facts.ticks != static_cast<std::uint64_t>(duration) + 1
               ? "it has not as many readings as seconds"
               : nullptr;
}

/// The increment is lowered until it divides the number of samples.
const char* WrongCount(const Run_T& run, const Facts_T& facts)
{
    if (run.samples.taken > c_MostSamples) {
        return "it has more samples than there can be";
    }
    const auto taken = static_cast<std::int64_t>(run.samples.taken);
    std::int64_t step =
        std::clamp<std::int64_t>(NumberOf(run.arguments.back()), 1, std::max<std::int64_t>(taken, 1));
    while (taken % step != 0) {
        --step;
    }
    const bool isWhole = taken > 0 && std::cmp_equal(run.samples.values.size(), taken / step);
    return isWhole && facts.bufferBytes == run.samples.taken * 2 ? nullptr
                                                                 : "it has not as many samples as it says";
}

const char* WrongSetting(const Run_T& run, const Facts_T&)
{
    return run.samples.taken == run.samples.values.size() ? nullptr : "it has not as many samples as it says";
}

const char* NoNumber(const Run_T& run, const Facts_T& facts)
{
    return run.measurements.size() == 1 && facts.readingLines == 1 && facts.readingBlanks <= 1
               ? nullptr
               : "what it shows is not one number";
}

/// Of a unit whose sounder had to be stopped.
constexpr unsigned int c_Stops = c_StopAsked | c_StopAnswered | c_GainPerhaps;
constexpr unsigned int c_Loads = c_ImageCopied | c_Loading | c_Notice;
constexpr unsigned int c_BuiltIn = c_Notice | c_Version | c_Attempt | c_Samples;

constexpr Expectation_T Shows(std::string_view command, const char* measurement, unsigned int allowed = 0)
{
    return {.command = command,
            .verdict = Verdict::Performed,
            .required = c_Reading,
            .allowed = allowed,
            .measurement = measurement,
            .objection = NoNumber};
}

constexpr Expectation_T c_Expectations[] = {
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
     .objection = WrongCount},
};

const Expectation_T* ExpectationOf(std::string_view command)
{
    const auto* const row = std::ranges::find(c_Expectations, command, &Expectation_T::command);
    return row == std::end(c_Expectations) ? nullptr : row;
}

bool IsAllowed(const Expectation_T& row, unsigned int evidence)
{
    return (evidence & ~(row.required | row.allowed | c_Stops)) == 0;
}

/// Why a run that calls itself passed or performed cannot be taken for one; null when it can.
const char* Objection(const Run_T& run, const Facts_T& facts)
{
    const Expectation_T* const row = ExpectationOf(run.command);
    if (row == nullptr) {
        return "its command is not known";
    }
    if (run.commandLine.find('\n') != Bytes_T::npos) {
        return "its command line holds a line end";
    }
    if (facts.verdict != row->verdict || run.arguments.size() < row->arguments) {
        return "its command does not end with this verdict";
    }
    const bool isStopHalf = ((facts.evidence & c_StopAsked) == 0) != ((facts.evidence & c_StopAnswered) == 0);
    const unsigned int seen = facts.evidence | ((facts.evidence & c_GainPerhaps) != 0 ? c_GainAccepted : 0);
    if ((seen & row->required) != row->required || isStopHalf) {
        return "not all is there that its command prints";
    }
    if (!IsAllowed(*row, facts.evidence)) {
        return "more is there than its command prints";
    }
    if (!facts.hasFirmware) {
        return "its firmware version stands for none";
    }
    if (row->samples != 0 && run.samples.values.size() != row->samples) {
        return "it has not as many samples as its command prints";
    }
    return row->objection == nullptr ? nullptr : row->objection(run, facts);
}

void Decide(Run_T& run, Outcome outcome, std::string_view reason)
{
    run.outcome = outcome;
    run.reason = reason;
}

/// Whether the report came to its end; decides the run otherwise.
bool IsWhole(Run_T& run, const Facts_T& facts)
{
    const bool hasVerdict = facts.verdict != Verdict::None && facts.verdict != Verdict::NotValid;
    if (hasVerdict && facts.hasReport && (facts.verdict != Verdict::Failed || facts.hasUnitData)) {
        return true;
    }
    const char* const reason = facts.showsUsage ? "the usage was shown, and nothing tested"
                               : facts.verdict == Verdict::NotValid ? "the program has no valid result"
                               : !facts.hasReport                   ? "there is no report"
                               : hasVerdict                         ? "the unit's data is not complete"
                                                                    : "the report has no verdict";
    // What ended the program tells more than that it ended.
    Decide(run, Outcome::NotJudged, facts.untested.empty() || hasVerdict ? Bytes_T(reason) : facts.untested);
    return false;
}

void Measure(Run_T& run, const Facts_T& facts)
{
    const Expectation_T* const row = ExpectationOf(run.command);
    const auto value = DecimalNumber(facts.reading);
    if (row != nullptr && row->measurement != nullptr && value) {
        // Calculated by the program; what a file holds is shown in the unit of its driver.
        run.measurements.push_back(
            {row->measurement, *value, (facts.evidence & c_Version) != 0 ? "degC" : ""});
    }
}
} // namespace

bool ShowsReading(std::string_view command)
{
    const Expectation_T* const row = ExpectationOf(command);
    return row != nullptr && row->measurement != nullptr;
}

bool CanStandAbove(std::string_view command, unsigned int evidence)
{
    const Expectation_T* const row = ExpectationOf(command);
    return row == nullptr ? (evidence & ~c_Stops) == 0 : IsAllowed(*row, evidence);
}

void Judge(Run_T& run, const Facts_T& facts)
{
    Measure(run, facts);
    if (!IsWhole(run, facts)) {
        return;
    }
    if (!facts.untested.empty()) {
        return Decide(run, Outcome::NotJudged, facts.untested);
    }
    const bool isFailed = facts.verdict == Verdict::Failed;
    if (isFailed && !facts.fault.empty()) {
        return Decide(run, Outcome::Failed, facts.fault);
    }
    if (facts.isSpoiled) {
        return Decide(run, Outcome::NotJudged, "it has lines that are not known");
    }
    if (isFailed) {
        return Decide(run, Outcome::NotJudged, "no reason was printed");
    }
    for (const Bytes_T* pError : {&facts.fault, &facts.complaint}) {
        if (!pError->empty()) {
            return Decide(run, Outcome::NotJudged, *pError);
        }
    }
    if (const char* const objection = Objection(run, facts)) {
        return Decide(run, Outcome::NotJudged, objection);
    }
    Decide(run, facts.verdict == Verdict::Passed ? Outcome::Passed : Outcome::Performed, {});
}
