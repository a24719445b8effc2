#include "station/judge/Measurements.h"

#include "station/transcript/Pattern.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <functional>
#include <iterator>
#include <numeric>

namespace
{
using Value_T = std::optional<double>;

constexpr double c_LowestSample = -99; // with three digits
constexpr double c_HighestSample = 65535;
constexpr double c_FaintestLevel = -100; // dBFS; one of 65,535 is -96.3
constexpr double c_HighestLevel = 24;    // 999 of 255, with the square root

constexpr std::size_t c_PulseSamples = 16;
constexpr double c_OffsetShare = 0.01;
constexpr std::size_t c_Compared = 16; // samples whose mean difference is taken

// Of the pings that are kept, to compare the next ones with.
constexpr std::size_t c_MostKeptPings = 64;
constexpr std::size_t c_MostKeptSamples = 2'097'152;

constexpr std::array<const char*, 2> c_Laws = {"square-root", "linear"}; // by ReceiverLaw

double Number(std::size_t count) { return static_cast<double>(count); }

/// Samples of the unit, for a place or length in printed samples.
double Taken(const Measured_T& measured, double printed)
{
    return printed * static_cast<double>(measured.run.samples.Step());
}

// What the text shows.

Value_T TickRate(const Measured_T& measured)
{
    std::vector<double> growths;
    const Quantity_T* pBefore = nullptr;
    for (const Quantity_T& reading : measured.run.measurements) {
        if (std::string_view(reading.name) == "speedTicks") {
            if (pBefore != nullptr) {
                growths.push_back(reading.value - pBefore->value);
            }
            pBefore = &reading;
        }
    }
    if (growths.empty()) {
        return std::nullopt;
    }
    const auto middle = growths.begin() + static_cast<std::ptrdiff_t>(growths.size() / 2);
    std::ranges::nth_element(growths, middle);
    return *middle;
}

Value_T FirmwareMajor(const Measured_T& measured)
{
    const std::string_view version = measured.run.unit.firmwareVersion;
    return DecimalNumber(version.substr(0, version.find('.')));
}

Value_T FirmwareMinor(const Measured_T& measured)
{
    const std::string_view version = measured.run.unit.firmwareVersion;
    return DecimalNumber(version.substr(std::min(version.find('.') + 1, version.size())));
}

// All samples.

Value_T Smallest(const Measured_T& measured) { return measured.echo.Totals().smallest; }
Value_T Largest(const Measured_T& measured) { return measured.echo.Totals().largest; }
Value_T Mean(const Measured_T& measured) { return measured.echo.Totals().mean; }

std::uint32_t BitsOfSample(const Measured_T& measured)
{
    return measured.run.samples.isThreeDigit ? 0xFF : 0xFFFF;
}

Value_T StuckHighBits(const Measured_T& measured)
{
    return std::popcount(measured.echo.Totals().bitsInAll & BitsOfSample(measured));
}

Value_T StuckLowBits(const Measured_T& measured)
{
    return std::popcount(~measured.echo.Totals().bitsInAny & BitsOfSample(measured));
}

Value_T LongestRun(const Measured_T& measured)
{
    const auto values = measured.echo.AfterRingDown();
    const std::int32_t fullScale = measured.run.samples.FullScale();
    std::size_t longest = 0;
    // A longer run includes one of these places.
    for (std::size_t at = 0; at < values.size(); at += longest + 1) {
        const std::int32_t value = values[at];
        if (value >= fullScale) {
            continue;
        }
        std::size_t first = at;
        std::size_t end = at + 1;
        while (first > 0 && values[first - 1] == value) {
            --first;
        }
        while (end < values.size() && values[end] == value) {
            ++end;
        }
        longest = std::max(longest, end - first);
    }
    return Number(longest);
}

/// How many samples after the ring-down a predicate is true for.
template <class Predicate>
std::int32_t CountAfterRingDown(const Measured_T& measured, Predicate predicate)
{
    std::int32_t count = 0; // faster than a wider one
    for (const std::int32_t value : measured.echo.AfterRingDown()) {
        count += predicate(value) ? 1 : 0;
    }
    return count;
}

Value_T Dropouts(const Measured_T& measured)
{
    return CountAfterRingDown(measured, [](std::int32_t value) { return value == 0; });
}

// Levels.

/// In dB of full scale.
Value_T Decibels(const Measured_T& measured, Value_T counts)
{
    if (!counts || *counts <= 0) {
        return std::nullopt;
    }
    const bool isRoot = measured.run.samples.isThreeDigit && measured.settings.law == ReceiverLaw::SquareRoot;
    return (isRoot ? 40 : 20) * std::log10(*counts / measured.run.samples.FullScale());
}

// The transmit pulse.

Value_T PulseLevel(const Measured_T& measured)
{
    const auto& values = measured.run.samples.values;
    const auto first = std::span(values).first(std::min(values.size(), c_PulseSamples));
    return *std::ranges::max_element(first);
}

Value_T PulseDecibels(const Measured_T& measured) { return Decibels(measured, PulseLevel(measured)); }

Value_T RingDownLength(const Measured_T& measured)
{
    const auto& end = measured.echo.RingDownEnd();
    return end ? Value_T(Taken(measured, *end)) : std::nullopt;
}

Value_T ClippedShare(const Measured_T& measured)
{
    const std::int32_t fullScale = measured.run.samples.FullScale();
    const auto isClipped = [fullScale](std::int32_t value) { return value >= fullScale; };
    return CountAfterRingDown(measured, isClipped) / Number(measured.echo.AfterRingDown().size());
}

// The quiet part.

Value_T QuietShare(const Measured_T& measured)
{
    const CHistogram* const quiet = measured.echo.Quiet();
    return quiet == nullptr
               ? 0
               : static_cast<double>(quiet->Count()) / Number(measured.run.samples.values.size());
}

template <class Function>
Value_T OfQuiet(const Measured_T& measured, Function function)
{
    const CHistogram* const quiet = measured.echo.Quiet();
    return quiet == nullptr ? std::nullopt : Value_T(function(*quiet));
}

Value_T NoiseFloor(const Measured_T& measured) { return OfQuiet(measured, std::mem_fn(&CHistogram::Centre)); }
Value_T NoiseDecibels(const Measured_T& measured) { return Decibels(measured, NoiseFloor(measured)); }
Value_T NoiseSpread(const Measured_T& measured)
{
    return OfQuiet(measured, std::mem_fn(&CHistogram::Spread));
}

Value_T Offset(const Measured_T& measured)
{
    return OfQuiet(measured, [](const CHistogram& quiet) { return quiet.Quantile(c_OffsetShare); });
}

Value_T DistinctValues(const Measured_T& measured)
{
    return OfQuiet(measured, std::mem_fn(&CHistogram::DistinctValues));
}

Value_T MissingCodes(const Measured_T& measured)
{
    return OfQuiet(measured, [](const CHistogram& quiet) {
        return quiet.MissingBetween(quiet.Quartiles().lower, quiet.Quartiles().upper);
    });
}

Value_T InterferenceLevel(const Measured_T& measured)
{
    const auto& line = measured.line.Of(measured.echo);
    return line ? Value_T(line->amplitude) : std::nullopt;
}

Value_T InterferenceDecibels(const Measured_T& measured)
{
    return Decibels(measured, InterferenceLevel(measured));
}

Value_T InterferencePeriod(const Measured_T& measured)
{
    const auto& line = measured.line.Of(measured.echo);
    return line && line->period ? Value_T(Taken(measured, *line->period)) : std::nullopt;
}

// The bottom.

Value_T BottomPosition(const Measured_T& measured)
{
    const auto& bottom = measured.echo.Bottom();
    return bottom ? Value_T(Taken(measured, Number(bottom->front))) : std::nullopt;
}

Value_T BottomRange(const Measured_T& measured)
{
    const MeasureSettings_T& settings = measured.settings;
    const Value_T position = BottomPosition(measured);
    return position && settings.sampleClock > 0
               ? Value_T(*position / settings.sampleClock * settings.soundSpeed / 2)
               : std::nullopt;
}

Value_T BottomLevel(const Measured_T& measured)
{
    const auto& bottom = measured.echo.Bottom();
    return bottom ? Value_T(bottom->peak) : std::nullopt;
}

Value_T BottomDecibels(const Measured_T& measured) { return Decibels(measured, BottomLevel(measured)); }

Value_T BottomOverNoise(const Measured_T& measured)
{
    const Value_T level = BottomLevel(measured);
    const Value_T noise = NoiseFloor(measured);
    return level && noise && *noise > 0 ? Value_T(*level / *noise) : std::nullopt;
}

Value_T BottomOverNoiseDecibels(const Measured_T& measured)
{
    const Value_T level = BottomDecibels(measured);
    const Value_T noise = NoiseDecibels(measured);
    return level && noise ? Value_T(*level - *noise) : std::nullopt;
}

Value_T BottomWidth(const Measured_T& measured)
{
    const auto& bottom = measured.echo.Bottom();
    return bottom ? Value_T(Taken(measured, bottom->width)) : std::nullopt;
}

// Compared with the ping before.

using Group_T = std::span<const std::int32_t, c_Compared>;

/// Calls a function with the samples after the ring-down and those of the ping before, in groups.
/// @return false: there is nothing to compare
template <class Function>
bool Compare(const Measured_T& measured, Function function)
{
    const auto values = measured.echo.AfterRingDown();
    if (measured.before.size() < values.size() || values.size() < c_Compared) {
        return false;
    }
    const auto before = measured.before.last(values.size());
    for (std::size_t at = 0; at + c_Compared <= values.size(); at += c_Compared) {
        function(Group_T(values.subspan(at, c_Compared)), Group_T(before.subspan(at, c_Compared)));
    }
    return true;
}

Value_T IdenticalSamples(const Measured_T& measured)
{
    std::int32_t identical = 0;
    std::int32_t all = 0;
    const bool isCompared = Compare(measured, [&](Group_T values, Group_T before) {
        for (std::size_t i = 0; i < c_Compared; ++i) {
            identical += values[i] == before[i] ? 1 : 0;
        }
        all += c_Compared;
    });
    return isCompared ? Value_T(static_cast<double>(identical) / all) : std::nullopt;
}

Value_T Repeatability(const Measured_T& measured)
{
    std::vector<std::int32_t> differences;
    differences.reserve(measured.before.size() / c_Compared);
    const bool isCompared = Compare(measured, [&](Group_T values, Group_T before) {
        std::int32_t difference = 0;
        for (std::size_t i = 0; i < c_Compared; ++i) {
            difference += std::abs(values[i] - before[i]);
        }
        differences.push_back(difference);
    });
    if (!isCompared) {
        return std::nullopt;
    }
    return static_cast<double>(OrderStatistic(differences, differences.size() / 2)) / c_Compared;
}

constexpr MeasurementRow_T c_Rows[] = {
    // What the text shows.
    {"batteryVoltage", "", -c_Any, c_Any, "the battery's voltage, as the file of the unit shows it"},
    {"lcdTemperature", "", -c_Any, c_Any, "the display's temperature, as the file of the unit shows it"},
    {"sensePin", "", -c_Any, c_Any, "the state of the sense pin, as the file of the unit shows it"},
    {"waterTemperature", "", -c_Any, c_Any, "the water's temperature, in degC if the FPGA measured it"},
    {"speedTicks", "", 0, c_Any, "the count of the paddle wheel's ticks, once for each reading"},
    {"speedTickRate", "1/s", -c_Any, c_Any, "ticks per second: the median growth from reading to reading",
     TickRate},
    {"firmwareMajor", "", 0, 255, "the firmware's version before the point", FirmwareMajor},
    {"firmwareMinor", "", 0, 255, "the firmware's version after the point", FirmwareMinor},
    // The bottom.
    {"bottomPosition", "samples", 0, c_MostSamples, "from the first sample to the front of the bottom's echo",
     BottomPosition},
    {"bottomRange", "m", 0, c_Any, "the same as a range, if the sample clock is known", BottomRange},
    {"bottomLevel", "counts", 0, c_HighestSample, "the highest of the first 4 samples of the bottom's echo",
     BottomLevel},
    {"bottomLevelDecibels", "dBFS", c_FaintestLevel, c_HighestLevel, "the same below full scale",
     BottomDecibels, true},
    {"bottomOverNoise", "", 0, c_Any, "the peak of the bottom's echo, divided by the noise floor",
     BottomOverNoise},
    {"bottomOverNoiseDecibels", "dB", 0, c_Any, "the same as a difference of levels", BottomOverNoiseDecibels,
     true},
    {"bottomWidth", "samples", 0, c_MostSamples, "the area of the bottom's echo, divided by its peak",
     BottomWidth},
    // The quiet part.
    {"noiseFloor", "counts", 0, c_HighestSample, "the centre of the samples of the quiet part", NoiseFloor},
    {"noiseFloorDecibels", "dBFS", c_FaintestLevel, c_HighestLevel, "the same below full scale",
     NoiseDecibels, true},
    {"noiseSpread", "counts", 0, c_HighestSample, "from the lower to the upper quartile of the quiet part",
     NoiseSpread},
    {"offset", "counts", 0, c_HighestSample,
     "what one of a hundred samples of the quiet part does not exceed", Offset},
    {"distinctValues", "", 1, c_HighestSample, "how many different values the quiet part has",
     DistinctValues},
    {"missingCodes", "", 0, 1, "the share of the values between the quartiles that no quiet sample has",
     MissingCodes},
    {"interferenceLevel", "counts", 0, c_HighestSample,
     "the amplitude of the strongest line of the quiet part", InterferenceLevel},
    {"interferenceLevelDecibels", "dBFS", c_FaintestLevel * 2, c_HighestLevel, "the same below full scale",
     InterferenceDecibels, true},
    {"interferencePeriod", "samples", 2, c_MostSamples, "the period of that line, if it is not noise",
     InterferencePeriod},
    {"quietShare", "", 0, 1, "the share of the samples that are the quiet part", QuietShare},
    // The transmit pulse, and what all samples have in common.
    {"pulseLevel", "counts", c_LowestSample, c_HighestSample, "the largest of the first 16 samples",
     PulseLevel},
    {"pulseLevelDecibels", "dBFS", c_FaintestLevel, c_HighestLevel, "the same below full scale",
     PulseDecibels, true},
    {"ringDownLength", "samples", 0, c_MostSamples, "from the first sample to the end of the ring-down",
     RingDownLength},
    {"clippedShare", "", 0, 1, "the share of the samples after the ring-down that are at full scale",
     ClippedShare},
    {"dropouts", "", 0, c_MostSamples, "how many samples after the ring-down are 0", Dropouts},
    {"longestRun", "", 0, c_MostSamples, "the most samples in a row with one value below full scale",
     LongestRun},
    {"smallest", "counts", c_LowestSample, c_HighestSample, "the smallest sample", Smallest},
    {"largest", "counts", c_LowestSample, c_HighestSample, "the largest sample", Largest},
    {"mean", "counts", c_LowestSample, c_HighestSample, "the mean of all samples", Mean},
    {"stuckHighBits", "", 0, 16, "how many bits are 1 in every sample", StuckHighBits},
    {"stuckLowBits", "", 0, 16, "how many bits are 0 in every sample", StuckLowBits},
    // Compared with the ping before of the same set-up.
    {"identicalSamples", "", 0, 1, "the share of samples that are the same as in the ping before",
     IdenticalSamples},
    {"repeatability", "counts", 0, c_HighestSample,
     "the median, over groups of 16 samples, of the mean difference from the ping before", Repeatability},
};

constexpr const MeasurementRow_T* c_FirstOfPing =
    std::ranges::find_if(c_Rows, [](const MeasurementRow_T& row) { return row.measure == BottomPosition; });

/// The rows from the first one of a bottom on.
bool IsOfPing(const MeasurementRow_T& row) { return &row >= c_FirstOfPing; }
} // namespace

const char* NameOf(ReceiverLaw law) { return c_Laws.at(static_cast<std::size_t>(law)); }

std::optional<ReceiverLaw> ReceiverLawOf(std::string_view name)
{
    const auto found = std::ranges::find(c_Laws, name);
    return found == c_Laws.end() ? std::nullopt
                                 : std::optional(static_cast<ReceiverLaw>(found - c_Laws.begin()));
}

std::span<const MeasurementRow_T> MeasurementRows() { return c_Rows; }

const MeasurementRow_T* MeasurementOf(std::string_view name)
{
    const auto* const row = std::ranges::find(c_Rows, name, &MeasurementRow_T::name);
    return row == std::end(c_Rows) ? nullptr : row;
}

/// Pieces of the quiet part, spread over all of it.
const std::optional<SpectralLine_T>& CQuietLine::Of(const CEchoParts& echo)
{
    if (m_Found) {
        return *m_Found;
    }
    constexpr std::size_t groups = CSpectrum::c_PieceSamples / CEchoParts::c_GroupSamples;
    m_Spectrum.Begin();
    const auto quiet = echo.Quiet() == nullptr ? std::span<const std::size_t>() : echo.QuietGroups();
    const std::size_t stride = std::max(quiet.size() / CSpectrum::c_MostPieces, groups);
    for (std::size_t at = 0; at + groups <= quiet.size();) {
        const bool isOnePiece =
            quiet[at + groups - 1] - quiet[at] == (groups - 1) * CEchoParts::c_GroupSamples;
        if (isOnePiece) {
            m_Spectrum.Add(echo.Values().subspan(quiet[at], CSpectrum::c_PieceSamples));
        }
        at += isOnePiece ? stride : 1;
    }
    return m_Found.emplace(m_Spectrum.StrongestLine());
}

CMeasurer::CMeasurer(MeasureSettings_T settings) : m_Settings(settings)
{
    for (const MeasurementRow_T& row : c_Rows) {
        m_Rows.push_back(&row);
    }
}

void CMeasurer::MeasureOnly(std::span<const std::string_view> names)
{
    std::erase_if(m_Rows, [names](const MeasurementRow_T* pRow) {
        return std::ranges::find(names, pRow->name) == names.end();
    });
}

bool CMeasurer::Setup_T::IsOf(const Run_T& run) const
{
    const Samples_T& samples = run.samples;
    return printed == samples.values.size() && taken == samples.taken &&
           isThreeDigit == samples.isThreeDigit && centreHertz == samples.centreHertz &&
           element == samples.element && channel == samples.channel && band == samples.band &&
           commandLine == run.commandLine && transcript == run.transcript;
}

CMeasurer::Ping_T* CMeasurer::PingBefore(const Run_T& run)
{
    const auto before =
        std::ranges::find_if(m_Pings, [&run](const Ping_T& ping) { return ping.setup.IsOf(run); });
    if (before == m_Pings.end()) {
        return nullptr;
    }
    m_Pings.splice(m_Pings.begin(), m_Pings, before);
    return &m_Pings.front();
}

void CMeasurer::Remember(const Run_T& run, Ping_T* pBefore)
{
    const Samples_T& samples = run.samples;
    if (pBefore != nullptr) {
        pBefore->repetition = run.repetition;
        pBefore->values = samples.values;
        return;
    }
    m_Pings.push_front({{run.transcript, run.commandLine, samples.band, samples.values.size(), samples.taken,
                         samples.isThreeDigit, samples.centreHertz, samples.element, samples.channel},
                        run.repetition,
                        samples.values});
    const auto isTooMuch = [this] {
        std::size_t kept = 0;
        for (const Ping_T& ping : m_Pings) {
            kept += ping.values.size();
        }
        return m_Pings.size() > c_MostKeptPings || kept > c_MostKeptSamples;
    };
    while (isTooMuch()) {
        m_Pings.pop_back();
    }
}

void CMeasurer::Measure(Run_T& run)
{
    m_Echo.Find(run.samples);
    m_Line.Forget();
    const bool isPing = !run.samples.values.empty();
    Ping_T* const pBefore = isPing ? PingBefore(run) : nullptr;
    run.repetition = pBefore == nullptr ? 0 : pBefore->repetition + 1;
    const Measured_T measured{.run = run,
                              .echo = m_Echo,
                              .line = m_Line,
                              .before =
                                  pBefore == nullptr ? std::span<const std::int32_t>() : pBefore->values,
                              .settings = m_Settings};
    run.measurements.reserve(run.measurements.size() + m_Rows.size());
    for (const MeasurementRow_T* pRow : m_Rows) {
        const Value_T value =
            pRow->measure != nullptr && (isPing || !IsOfPing(*pRow)) ? pRow->measure(measured) : std::nullopt;
        if (value) {
            run.measurements.push_back({pRow->name, *value, pRow->unit});
        }
    }
    if (isPing) {
        run.receiverLaw = run.samples.isThreeDigit ? NameOf(m_Settings.law) : "";
        Remember(run, pBefore);
    }
}
