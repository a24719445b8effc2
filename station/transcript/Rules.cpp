#include "station/transcript/Rules.h"

#include <algorithm>

using namespace Evidence;

namespace
{
constexpr std::string_view c_NoticeText =
    "If unit segfaults below (CFPGAIF constructor), check CSonarTestController constructor defines all the "
    "product ids "
    "(eg: PRODUCT_ID_Varrow) required by QLSounderType_T SounderInfo::GetSounderType GetSounderType()";

constexpr double c_HertzPerStep = 100;         // centre frequencies are printed in hundreds of hertz
constexpr std::int64_t c_NoMajorVersion = 255; // as is 0
constexpr std::int64_t c_MostOfByte =
    255; // versions; ticks, which are two bytes ORed; the channel of a command line
constexpr unsigned int c_MostSample = 65535;
constexpr std::ptrdiff_t c_LongestSample = 5;
constexpr std::int64_t c_MostElement = 1; // elements and the channels of built-in settings are 0 and 1

bool IsUpTo(std::int64_t most, std::string_view text)
{
    const std::int64_t number = LeadingNumber(text);
    return number >= 0 && number <= most;
}

double ValueOf(std::string_view text) { return DecimalNumber(text).value_or(0); }

void KeepMeasurement(Run_T& run, const Quantity_T& measurement)
{
    if (run.measurements.size() < c_MostReadings) {
        run.measurements.push_back(measurement);
    }
}

using Values_T = std::vector<std::int32_t>;
constexpr std::size_t c_Digits = 3;

constexpr unsigned int c_Base = 10;

/// The value of a digit; above 9 for any other character.
unsigned int DigitOf(char character) { return static_cast<unsigned char>(character - '0'); }

/// Numbers of three digits each, without separators.
bool ReadThreeDigits(std::string_view text, Values_T& values)
{
    values.resize(text.size() / c_Digits);
    const char* from = text.data();
    unsigned int worst = 0; // one check for all is faster than one for each
    for (std::int32_t& value : values) {
        const unsigned int hundreds = DigitOf(from[0]);
        const unsigned int tens = DigitOf(from[1]);
        const unsigned int ones = DigitOf(from[2]);
        const unsigned int number = (hundreds * c_Base + tens) * c_Base + ones;
        worst = std::max({worst, number, tens > 9 || ones > 9 ? c_Base * 100 : 0});
        value = static_cast<std::int32_t>(number);
        from += c_Digits;
    }
    return worst <= c_MostOfByte;
}

/// Numbers without leading zeros, with commas between them; there may be one at the end.
bool ReadDecimals(std::string_view text, Values_T& values)
{
    values.resize(text.size() / 2 + 1); // at most
    auto value = values.begin();
    const char* from = text.data();
    const char* const end = from + text.size();
    // While there is room for the longest number and a comma, the end need not be looked for.
    while (end - from > c_LongestSample) {
        unsigned int number = DigitOf(from[0]);
        unsigned int worst = number;
        std::ptrdiff_t digits = 1;
        for (; digits < c_LongestSample && from[digits] != ','; ++digits) {
            const unsigned int digit = DigitOf(from[digits]);
            worst = std::max(worst, digit);
            number = number * c_Base + digit;
        }
        if (worst >= c_Base || number > c_MostSample || from[digits] != ',' ||
            (from[0] == '0' && digits > 1)) {
            return false;
        }
        *value++ = static_cast<std::int32_t>(number);
        from += digits + 1;
    }
    for (; from != end; ++value) {
        const char* const first = from;
        unsigned int number = 0;
        for (unsigned int digit = 0; from != end && (digit = DigitOf(*from)) < c_Base; ++from) {
            number = number * c_Base + digit;
        }
        const bool isNumber = from != first && from - first <= c_LongestSample && number <= c_MostSample &&
                              (*first != '0' || from - first == 1);
        if (!isNumber || (from != end && *from != ',')) {
            return false;
        }
        *value = static_cast<std::int32_t>(number);
        from += from != end ? 1 : 0;
    }
    values.resize(static_cast<std::size_t>(value - values.begin()));
    return true;
}

// What lines put into the run. Each function takes the placeholders of its rule's pattern, and returns false
// if the rule does not fit after all.

bool TakeImage(Run_T& run, const Captures_T& captures)
{
    const std::string_view path = captures[0];
    run.unit.firmwareImage = path.substr(path.rfind('/') + 1);
    return true;
}

bool TakeParameters(Run_T& run, const Captures_T& captures)
{
    static constexpr Quantity_T c_Parameters[] = {{"channel0Period"},          {"channel1Period"},
                                                  {"startFrequency", 0, "Hz"}, {"endFrequency", 0, "Hz"},
                                                  {"decimationRate"},          {"samples"}};
    for (std::size_t index = 0; index < captures.size(); ++index) {
        Quantity_T parameter = c_Parameters[index];
        parameter.value = ValueOf(captures[index]);
        run.parameters.push_back(parameter);
    }
    return true;
}

bool TakeElement(Run_T& run, const Captures_T& captures)
{
    if (!IsUpTo(c_MostElement, captures[0])) {
        return false;
    }
    Samples_T& samples = run.samples;
    samples.element = static_cast<int>(LeadingNumber(captures[0]));
    samples.centreHertz = ValueOf(captures[1]) * c_HertzPerStep;
    samples.band = captures[2];
    return true;
}

bool TakeChannelAndElement(Run_T& run, const Captures_T& captures)
{
    run.samples.channel = static_cast<int>(LeadingNumber(captures[0]));
    return IsUpTo(c_MostOfByte, captures[0]) && TakeElement(run, {captures[1], captures[2], captures[3]});
}

bool TakeSampleCount(Run_T& run, const Captures_T& captures)
{
    run.samples.taken = static_cast<std::uint64_t>(LeadingNumber(captures[0]));
    run.facts.bufferBytes = static_cast<std::uint64_t>(LeadingNumber(captures[1]));
    return true;
}

bool TakeVersion(Run_T& run, const Captures_T& captures)
{
    if (!IsUpTo(c_MostOfByte, captures[0]) || !IsUpTo(c_MostOfByte, captures[1])) {
        return false;
    }
    run.unit.firmwareVersion = Bytes_T(captures[0]) + "." + Bytes_T(captures[1]);
    const std::int64_t major = LeadingNumber(captures[0]);
    run.facts.hasFirmware = major > 0 && major < c_NoMajorVersion;
    return true;
}

bool AreTicks(Run_T&, const Captures_T& captures) { return IsUpTo(c_MostOfByte, captures[0]); }

bool TakeTicks(Run_T& run, const Captures_T& captures)
{
    if (!AreTicks(run, captures)) {
        return false;
    }
    ++run.facts.ticks;
    KeepMeasurement(run, {"speedTicks", ValueOf(captures[0])});
    return true;
}

bool TakeAttempt(Run_T& run, const Captures_T& captures)
{
    constexpr std::string_view c_Names[] = {"Sonar", "Lowscan"};
    const std::int64_t channel = LeadingNumber(captures[0]);
    if (!IsUpTo(c_MostElement, captures[0]) || captures[1] != c_Names[channel]) {
        return false;
    }
    run.samples.channel = static_cast<int>(channel);
    run.parameters.push_back({"startFrequencyWord", ValueOf(captures[2])});
    return true;
}

/// The link has no such operation, or the unit no FPGA: the test is not for this product.
bool TakeCode(Run_T& run, const Captures_T& captures)
{
    if ((captures[0] == "-174" || captures[0] == "-177") && run.facts.untested.empty()) {
        run.facts.untested = "the unit has no such operation: " + Bytes_T(captures[0]);
    }
    return true;
}

bool TakeUsage(Run_T& run, const Captures_T&)
{
    run.facts.showsUsage = true;
    return true;
}

/// The echo, in either of its two forms.
bool TakeSamples(Run_T& run, const Captures_T& captures)
{
    const std::string_view text = captures[0];
    Samples_T& samples = run.samples;
    const bool isThreeDigit = text.size() % c_Digits == 0 && text.find(',') == std::string_view::npos;
    Values_T values;
    if (!(isThreeDigit ? ReadThreeDigits(text, values) : ReadDecimals(text, values))) {
        return false;
    }
    samples.isPrinted = true;
    samples.isThreeDigit = isThreeDigit;
    samples.hasLastComma = text.ends_with(',');
    samples.values = std::move(values);
    samples.taken = samples.values.size();
    return true;
}

using enum Place;
using enum Effect;

constexpr Rule_T Message(Place place, std::string_view pattern, Effect effect = None, Take_T* take = nullptr)
{
    return {.place = place, .pattern = pattern, .effect = effect, .take = take};
}

constexpr Rule_T Step(Place place, int step, std::string_view pattern, unsigned int evidence,
                      Take_T* take = nullptr)
{
    return {.place = place, .step = step, .pattern = pattern, .evidence = evidence, .take = take};
}

/// The line comes after so many empty lines.
constexpr Rule_T After(unsigned int blanks, Rule_T rule)
{
    rule.blanks = blanks;
    return rule;
}

/// The line can be there several times in its step.
constexpr Rule_T Repeated(Rule_T rule)
{
    rule.repeats = true;
    return rule;
}

/// The last line of a program that failed.
constexpr Rule_T End(std::string_view pattern)
{
    return {.place = Aside, .pattern = pattern, .effect = Untested, .isEnd = true};
}

template <std::size_t c_Size>
constexpr std::array<Rule_T, c_Size> WithBeginnings(const Rule_T (&rules)[c_Size])
{
    std::array<Rule_T, c_Size> all = std::to_array(rules);
    for (Rule_T& rule : all) {
        rule.beginning = LiteralBeginning(rule.pattern);
    }
    return all;
}

// In the order in which the program prints them.
constexpr auto c_Rules = WithBeginnings({
    // The identity of the unit.
    Message(Before, "No valid product ID.", Untested),
    Message(Before, "No valid product ID: Check touchscreen.", Untested),
    Message(Before, "No Product ID found.", Untested),
    Message(Before, "ERROR: No Sonar Board Id.", Untested),
    Message(Before, "ERROR: Unknown Product type.", Untested),
    Message(Before, "ERROR: PRODUCT_ID environment variable not set. Ping will segfault.", Untested),
    // Files that cannot be read.
    {.place = Before, .pattern = "ERROR: Failed to open file:", .next = Free::Path},
    Message(Before, "ERROR: Path does not exist: %s", Untested),
    // Locks of device nodes, and links that do not take data.
    Message(Before, "Error in COSSLinuxFile::CheckForLock(%s): %d"),
    Message(Before, "%d COSSLinuxFile::CheckForLock() %s locked by %d for %d"),
    Message(Before, "%d: COSSLinuxFile::ApplyLock(%d) locked by %d %s"),
    Message(Before, "Error in COSSLinuxFile::ApplyLock(%d): %d"),
    Message(Before, "SetOutputDataToLog", Fault),
    // The table file.
    Message(Before, "ERROR: Size Delimiter not found.", Untested),
    Message(Before, "Size Delimiter: \"%s\""),
    Message(Before, "ERROR: Start/End Delimiter not found.", Untested),
    Message(Before, "Start Delimiter: \"%s\""),
    Message(Before, "End Delimiter: \"%s\""),
    Message(Before, "ERROR: Data not found.", Untested),
    Message(Before, "ERROR: Expected size (%d) does not match actual size (%d)", Untested),
    Message(Before, "GetWaterTemp failed with return code: %d", Fault, TakeCode),
    Message(Before, "Invalid channel Specified: %d", Untested),
    Message(Before, "Call to Lowscan function from CSonarTestController Failed, return value: %d", Fault,
            TakeCode),
    Message(Before, "Wrong size.", Fault),
    Message(Before, "ERROR: Sample value expected to be three digits. Actual size: %d.", Fault),

    Step(Before, 1, "Failed to kill Quenlor Sonar.", c_StopAsked | c_StopAnswered),
    Step(Before, 1, "Command = %s", c_StopAsked),
    {.place = Before, .step = 2, .pattern = "Out: %s", .evidence = c_StopAnswered, .next = Free::Output},
    Step(Before, 2, "ERROR: File not found:%s", c_StopAnswered),
    Step(Before, 3, "3", c_GainAccepted),
    Step(Before, 4, "cat /corvane/Application/%s > /dev/LSfpga%u", c_ImageCopied, TakeImage),
    Step(Before, 5, c_NoticeText, c_EarlyNotice),
    After(1, Step(Before, 6, "Parameters:", c_ParametersTitle)),
    Step(Before, 7,
         "Ch0Period = %d; Ch1Period = %d ; Start freq = %f; End freq = %f; Decimation rate = %d ; "
         "Samples = %d",
         c_Parameters, TakeParameters),
    {.place = Before, .step = 8, .pattern = "Will need to copy %d bytes into Buffer of size %d bytes"},
    After(1, Step(Before, 9, "<SonarFPGAData>%s<EndSonarFPGAData>", c_Samples, TakeSamples)),
    Step(Before, 10, "Element: %d Centre Freq: %d & RxBand: %s", c_Element, TakeElement),
    Step(Before, 10, "Channel: %d Element: %d Centre Freq: %d & RxBand: %s", c_Element,
         TakeChannelAndElement),
    After(1, Step(Before, 11, "Samples: %u Buffer Bytes: %u", c_SampleCount, TakeSampleCount)),
    // Last, because it may begin with anything.
    Message(Before, "%s is not a valid Analogue Gain level.", Untested),

    Step(Report, 1, "Loading FPGA...", c_Loading),
    Step(Report, 2, c_NoticeText, c_Notice),
    Step(Report, 3, "Firmware Version: %u.%u", c_Version, TakeVersion),
    Step(Report, 4, "Attempting ping on channel %d (%s) at start frequency of: %d", c_Attempt, TakeAttempt),
    Repeated(Step(Report, 5, "Speed ticks: %d", c_Ticks, TakeTicks)),

    // Wrong command lines.
    Message(Report, "ERROR: Incorrect Parameter Count.", Untested),
    Message(Report, "ERROR: Start freq must be 200, 350, 350long or 200long.", Untested),
    Message(Report, "ERROR: Unknown frequency request.", Untested),
    Message(Report, "Channel must be 1 or 0.", Untested),
    // The test is not for this product.
    Message(Report, "ERROR: Do not use ping for Lumet or New QL derivitives. Use lumetping instead.",
            Untested),
    Message(Report, "ERROR: Use only for xK derivitives.", Untested),
    Message(Report, "ERROR: Channel 0 (Sonar) does not exist. Will not ping.", Untested),
    Message(Report, "ERROR: Product not supported.", Untested),
    // The sonar cannot be switched on, the firmware not loaded, the table file not read.
    Message(Report, "ERROR: Cannot enable Sonar.", Untested),
    Message(Report, "Non-Varrow platform. Sonar may not be enabled."),
    Message(Report, "ERROR: Failed to write to file:%s", Untested),
    Message(Report, "ERROR: Required path does not exist: %s", Untested),
    Message(Report, "ERROR: Failed to load FPGA with: %s", Untested),
    Message(Report, "ERROR: FW major version is suspicious. Ensure firmware has loaded.", Untested),
    Message(Report, "ERROR: Ensure file exists: %s ", Untested),
    Message(Report, "ERROR: Failed to read Chirp Table .", Untested),
    Message(Report, "ERROR: Failed to read TVG Table .", Untested),
    Message(Report, "ERROR: Failed to read Correlation Filter.", Untested),
    Message(Report, "ERROR: No valid channel filter byte: %d.", Untested),
    // The unit.
    {.place = Report, .pattern = "ERROR: Failed to open file:", .effect = Fault, .next = Free::Path},
    Message(Report, "ERROR: Failed to open file:%s", Fault),
    Message(Report, "Empty File.", Fault),
    Message(Report, "ADCRef is zero. Cannot calculate WaterTemperature", Fault),
    Message(Report, "ERROR: Failed to get version.", Fault),
    Message(Report, "ERROR: Failed to get version. FW upgrade failed.", Fault),
    Message(Report, "ERROR: Failed to populate FPGA data.", Fault),
    Message(Report, "ERROR: Failed to populate FPGA data with error code: %d.", Fault),
    Message(Report, "ERROR: UpdateFPGA failed.", Fault),
    Message(Report, "ERROR: UpdateFPGA failed with error code: %d. (Is the Sounder app running?)", Fault),
    Message(Report, "ERROR: Ping failed.", Fault),
    Message(Report, "ERROR: Ping failed with error code: %d.", Fault),
    Message(Report, "ERROR: Get ping failed.", Fault),
    Message(Report, "ERROR: Get ping failed with error code: %d.", Fault),
    Message(Report, "ERROR: OutputAsString failed.", Fault),
    Message(Report, "ERROR: OutputAsStringShort failed.", Fault),

    // The usage.
    After(1, Step(Report, 6, "Test App Build ID: ", c_Usage)),
    Step(Report, 7, "Test App Version: %d.%d", c_Usage),
    After(2, Step(Report, 8, "ERROR: First Parameter not recognized: %s", c_Usage)),
    After(1, Step(Report, 9, "Valid arguments are as follows: ", c_Usage, TakeUsage)),
    After(1, Step(Report, 10, "./sonarbench %s (Example: %s)", c_Usage)),
    Repeated(Step(Report, 11, "./sonarbench %s (Example: %s)", c_Usage)),

    End("%s: %s:%d: %s: Assertion `%s' failed."),
    End("terminate called after throwing an instance of '%s'"),
    End("  what():  %s"),
    End("Aborted"),
    End("Aborted (core dumped)"),
    End("Segmentation fault"),
    End("Segmentation fault (core dumped)"),
    Message(Aside, "sonarbench: could not write the whole report to standard output", Untested),
    Message(Aside, "%s: no data within 5 seconds"),
    Message(Aside, "%s: no end of file within 30 seconds"),
    Message(Aside, "%s: larger than %d MiB, the most that is read"),
    {.place = Aside, .pattern = "Speed ticks: %d", .evidence = c_Ticks, .take = AreTicks},
    Message(Aside, "sh: %s"),
    {.place = Aside, .pattern = "cat: %s"},
});

constexpr VerdictLine_T c_Verdicts[] = {{"Test Result: Test Passed.", Verdict::Passed},
                                        {"Test Result: Tests Failed.", Verdict::Failed},
                                        {"Test Result: Operation Performed.", Verdict::Performed},
                                        {"NO VALID RETURN VALUE", Verdict::NotValid}};

/// Whether a line that matches the rule can begin with a character.
bool CanBegin(const Rule_T& rule, char first)
{
    if (!rule.beginning.empty()) {
        return rule.beginning.front() == first;
    }
    return rule.pattern.starts_with("%s") || first == '-' || DigitOf(first) < c_Base;
}
} // namespace

std::span<const Rule_T> Rules() { return c_Rules; }

std::span<const Rule_T* const> RulesFor(std::string_view line)
{
    using Lists_T = std::array<std::vector<const Rule_T*>, 256>;
    static const Lists_T lists = [] {
        Lists_T all;
        for (std::size_t first = 0; first < all.size(); ++first) {
            for (const Rule_T& rule : c_Rules) {
                if (CanBegin(rule, static_cast<char>(first))) {
                    all[first].push_back(&rule);
                }
            }
        }
        return all;
    }();
    return line.empty() ? std::span<const Rule_T* const>() : lists[static_cast<unsigned char>(line.front())];
}

std::size_t NextRuleText(std::string_view line)
{
    constexpr std::size_t shortest = 4;
    std::size_t next = line.size();
    for (const Rule_T& rule : Rules()) {
        const std::string_view beginning = rule.beginning;
        if (rule.place == Place::Before && beginning.size() >= shortest) {
            next = std::min(next, line.find(beginning, 1));
        }
    }
    return next;
}

bool IsOfProgram(std::string_view line)
{
    constexpr std::size_t shortest = 8;
    return line.ends_with(c_Header) || line == c_TestOutput ||
           std::ranges::find(c_Verdicts, line, &VerdictLine_T::text) != std::end(c_Verdicts) ||
           std::ranges::any_of(c_Rules, [line](const Rule_T& rule) {
               const std::string_view beginning = rule.beginning;
               return rule.place != Place::Aside && beginning.size() >= shortest &&
                      line.starts_with(beginning);
           });
}

std::span<const VerdictLine_T> VerdictLines() { return c_Verdicts; }
