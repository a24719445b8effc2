#include "station/judge/Limits.h"

#include "station/judge/Measurements.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <numeric>

using namespace Evidence;

namespace
{
constexpr std::array<const char*, 4> c_FitNames = {"good", "marginal", "bad", "absent"}; // by Fit

/// What a command prints that has the measurements whose names begin so. The others are of samples.
struct Source_T {
    std::string_view beginning;
    unsigned int evidence;
};
constexpr Source_T c_Sources[] = {{"firmware", c_Version}, {"speed", c_Ticks}};

constexpr std::size_t c_MostSetups = 256;
constexpr int c_SignificantDigits = 8;

/// Appends a number that has a short form without an exponent, faster than the standard library does.
/// @return false: the number is another one, or so near to the middle of two that the library must round it
bool AppendDecimal(Bytes_T& text, double value)
{
    constexpr double least = 1e-4;
    constexpr double most = 1e8; // 10 to the power of c_SignificantDigits
    constexpr double ten = 10;
    constexpr double uncertain = 1e-6; // far above what the multiplications can lose
    double scaled = std::abs(value);
    if (!(scaled >= least && scaled < most)) {
        return false;
    }
    std::size_t decimals = 0;
    while (scaled < most / ten) {
        scaled *= ten;
        ++decimals;
    }
    auto number = static_cast<std::uint32_t>(std::lround(scaled));
    if (std::abs(scaled - number) > 0.5 - uncertain || number >= most) {
        return false;
    }
    for (; decimals > 0 && number % 10 == 0; --decimals) {
        number /= 10;
    }
    std::array<char, c_SignificantDigits> digits;
    const char* const end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    const auto size = static_cast<std::size_t>(end - digits.data());
    text.append(value < 0 ? "-" : "");
    if (decimals == 0) {
        text.append(digits.data(), size);
    } else if (size > decimals) {
        text.append(digits.data(), size - decimals).append(1, '.').append(end - decimals, decimals);
    } else {
        text.append("0.").append(decimals - size, '0').append(digits.data(), size);
    }
    return true;
}

void AppendUnit(Bytes_T& text, std::string_view unit)
{
    if (!unit.empty()) {
        text.append(1, ' ').append(unit);
    }
}

Fit FitOf(const Limit_T& limit, double value)
{
    if (!(value >= limit.least && value <= limit.most)) { // nor is a value that is no number good
        return Fit::Bad;
    }
    const bool isNear = value < limit.least + limit.margin || value > limit.most - limit.margin;
    return isNear ? Fit::Marginal : Fit::Good;
}

/// The result of the value that fits worst: a measurement can have several values, one after the other.
/// @param from  the measurement at which the search begins, and afterwards the one after those found
LimitResult_T Compare(const Limit_T& limit, const Run_T& run, std::size_t& from)
{
    LimitResult_T worst{.limit = &limit};
    const auto take = [&](double value, const char* unit) {
        const Fit fit = FitOf(limit, value);
        if (worst.fit == Fit::Absent || fit > worst.fit) {
            worst = {&limit, fit, value, unit};
        }
    };
    if (!limit.band.high.empty()) {
        const auto& values = run.samples.values;
        if (values.size() == limit.band.samples) {
            take(ShareOutside(limit.band, ColumnMeans(values, limit.band.high.size())), "");
        }
        return worst;
    }
    const auto isMeant = [&limit](const Quantity_T& measured) {
        return std::strcmp(limit.measurement.c_str(), measured.name) == 0;
    };
    const auto begin = run.measurements.begin() + static_cast<std::ptrdiff_t>(from);
    auto found = std::find_if(begin, run.measurements.end(), isMeant);
    if (found == run.measurements.end()) {
        found = std::find_if(run.measurements.begin(), begin, isMeant);
        found = found == begin ? run.measurements.end() : found;
    }
    for (; found != run.measurements.end() && isMeant(*found); ++found) {
        take(found->value, found->unit);
        from = static_cast<std::size_t>(found - run.measurements.begin()) + 1;
    }
    if (worst.fit == Fit::Absent) {
        worst.unit = limit.endingUnit;
    }
    return worst;
}

Bytes_T EndingOf(const Limit_T& limit, std::string_view unit)
{
    return " (limit: " + RangeText(limit, unit) + ')';
}

bool NamesProduct(const Limit_T& limit) { return !MatchesGlob(limit.product, {}); }
} // namespace

void AppendNumber(Bytes_T& text, double value)
{
    if (AppendDecimal(text, value)) {
        return;
    }
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                   std::chars_format::general, c_SignificantDigits);
    text.append(digits.data(), end.ptr);
}

bool MatchesGlob(std::string_view glob, std::string_view text)
{
    std::size_t at = 0;
    std::size_t in = 0;
    std::size_t star = std::string_view::npos; // the last one
    std::size_t resumed = 0;                   // where the text after it was last tried
    while (in < text.size()) {
        if (at < glob.size() && glob[at] == '*') {
            star = at++;
            resumed = in;
        } else if (at < glob.size() && (glob[at] == '?' || glob[at] == text[in])) {
            ++at;
            ++in;
        } else if (star != std::string_view::npos) {
            at = star + 1;
            in = ++resumed;
        } else {
            return false;
        }
    }
    return glob.find_first_not_of('*', at) == std::string_view::npos;
}

Bytes_T ChannelOf(const Run_T& run)
{
    const CommandText_T* const row = TextOf(run.command);
    if (row != nullptr && row->channelArgument != 0) {
        return row->channelArgument <= run.arguments.size() ? run.arguments[row->channelArgument - 1] : "";
    }
    return run.samples.channel < 0 ? "" : std::to_string(run.samples.channel);
}

Bytes_T SettingOf(const Run_T& run)
{
    Bytes_T setting;
    for (const Bytes_T& argument : run.arguments) {
        setting.append(&argument == &run.arguments.front() ? "" : " ").append(argument);
        if (setting.size() > c_LongestKeptLine) {
            break;
        }
    }
    return setting.substr(0, c_LongestKeptLine);
}

bool CanMeasure(const CommandText_T& command, std::string_view measurement)
{
    const auto isReading = [measurement](const CommandText_T& row) {
        return row.measurement != nullptr && measurement == row.measurement;
    };
    if (std::ranges::any_of(CommandTexts(), isReading)) {
        return isReading(command);
    }
    const auto* const source = std::ranges::find_if(
        c_Sources, [measurement](const Source_T& row) { return measurement.starts_with(row.beginning); });
    const unsigned int needed = source == std::end(c_Sources) ? c_Samples : source->evidence;
    return ((command.required | command.allowed) & needed) != 0;
}

bool IsFor(const Limit_T& limit, std::string_view product, const CommandText_T& command)
{
    return MatchesGlob(limit.product, product) && MatchesGlob(limit.command, command.command) &&
           CanMeasure(command, limit.measurement);
}

std::vector<double> ColumnMeans(std::span<const std::int32_t> values, std::size_t columns)
{
    std::vector<double> means(columns);
    // As Envelope_T::Column() divides them, but without dividing for each.
    const std::size_t whole = values.size() / columns;
    const std::size_t part = values.size() % columns;
    std::size_t parts = columns - 1; // so that the end of a column is rounded up
    for (double& mean : means) {
        parts += part;
        const std::size_t size = whole + (parts >= columns ? 1 : 0);
        parts -= parts >= columns ? columns : 0;
        const auto column = values.first(size);
        mean = static_cast<double>(std::accumulate(column.begin(), column.end(), std::int64_t{0})) /
               static_cast<double>(size);
        values = values.subspan(size);
    }
    return means;
}

double ShareOutside(const Envelope_T& band, std::span<const double> means)
{
    std::size_t outside = 0;
    for (std::size_t column = 0; column < means.size(); ++column) {
        outside += means[column] < band.low[column] || means[column] > band.high[column] ? 1 : 0;
    }
    return static_cast<double>(outside) / static_cast<double>(means.size());
}

const char* NameOf(Fit fit) { return c_FitNames.at(static_cast<std::size_t>(fit)); }

Bytes_T RangeText(const Limit_T& limit, std::string_view unit)
{
    const bool hasLeast = !std::isinf(limit.least);
    const bool hasMost = !std::isinf(limit.most);
    Bytes_T text = !hasLeast ? "at most " : hasMost ? "from " : "at least ";
    if (hasLeast) {
        AppendNumber(text, limit.least);
    }
    if (hasLeast && hasMost) {
        text += " to ";
    }
    if (hasMost) {
        AppendNumber(text, limit.most);
    }
    AppendUnit(text, unit);
    return text;
}

bool HasNote(const LimitResult_T& result)
{
    return (result.fit == Fit::Bad || result.fit == Fit::Marginal) && !result.limit->note.empty();
}

void AppendLimitText(Bytes_T& text, const LimitResult_T& result)
{
    const Limit_T& limit = *result.limit;
    text.append(limit.measurement).append(" is ");
    if (result.fit == Fit::Absent) {
        text += "absent";
    } else {
        AppendNumber(text, result.value);
        AppendUnit(text, result.unit);
    }
    text += limit.endingUnit == result.unit ? limit.ending : EndingOf(limit, result.unit);
    if (HasNote(result)) {
        text.append(": ").append(limit.note);
    }
}

Bytes_T LimitText(const LimitResult_T& result)
{
    Bytes_T text;
    AppendLimitText(text, result);
    return text;
}

CLimits::CLimits(std::vector<Limit_T> limits, Bytes_T product)
    : m_Limits(std::move(limits)), m_Product(std::move(product))
{
    for (Limit_T& limit : m_Limits) {
        const MeasurementRow_T* const row = MeasurementOf(limit.measurement);
        limit.endingUnit = row == nullptr ? "" : row->unit;
        limit.ending = EndingOf(limit, limit.endingUnit);
    }
}

std::vector<std::string_view> CLimits::Measurements() const
{
    std::vector<std::string_view> names;
    for (const Limit_T& limit : m_Limits) {
        names.push_back(limit.measurement);
    }
    return names;
}

bool CLimits::IsForProduct() const
{
    return std::ranges::any_of(
        m_Limits, [this](const Limit_T& limit) { return MatchesGlob(limit.product, m_Product); });
}

const Bytes_T& CLimits::ProductOf(const Run_T& run) const
{
    return m_Product.empty() ? run.record.product : m_Product;
}

CLimits::Setup_T CLimits::Choose(const Run_T& run, const Bytes_T& setting) const
{
    Setup_T setup;
    const CommandText_T* const command = TextOf(run.command);
    if (command == nullptr) {
        return setup;
    }
    const Bytes_T channel = ChannelOf(run);
    const Bytes_T& product = ProductOf(run);
    bool hasOther = false;
    for (const Limit_T& limit : m_Limits) {
        if (!MatchesGlob(limit.command, command->command) || !CanMeasure(*command, limit.measurement)) {
            continue;
        }
        if (product.empty() && NamesProduct(limit)) {
            setup.objection = "there are limits by product for this command, and the product is not known";
        } else if (MatchesGlob(limit.product, product) && MatchesGlob(limit.channel, channel) &&
                   MatchesGlob(limit.setting, setting) && (!limit.isRepeated || run.repetition > 0)) {
            setup.limits.push_back(&limit);
        } else {
            hasOther = true;
        }
    }
    if (setup.limits.empty() && hasOther && setup.objection == nullptr) {
        setup.objection = "there are limits for this command, but none for this product, channel and setting";
    }
    return setup;
}

const CLimits::Setup_T& CLimits::SetupOf(const Run_T& run)
{
    const Bytes_T setting = SettingOf(run);
    m_Key = ProductOf(run);
    m_Key.append(1, '\n').append(run.command).append(1, '\n').append(ChannelOf(run));
    m_Key.append(1, '\n').append(setting).append(run.repetition > 0 ? "\nrepeated" : "");
    const auto known = m_Setups.find(m_Key);
    if (known != m_Setups.end()) {
        return known->second;
    }
    if (m_Setups.size() >= c_MostSetups) {
        m_Setups.clear();
    }
    return m_Setups.emplace(m_Key, Choose(run, setting)).first->second;
}

void CLimits::Apply(Run_T& run)
{
    const bool isGood = run.outcome == Outcome::Passed || run.outcome == Outcome::Performed;
    const Setup_T& setup = SetupOf(run);
    run.limits.reserve(setup.limits.size());
    std::size_t next = 0;
    for (const Limit_T* pLimit : setup.limits) {
        const LimitResult_T result = Compare(*pLimit, run, next);
        if (isGood || result.fit != Fit::Absent) {
            run.limits.push_back(result);
        }
    }
    if (!isGood) {
        return;
    }
    for (const auto& [fit, outcome] :
         {std::pair(Fit::Bad, Outcome::Failed), std::pair(Fit::Absent, Outcome::NotJudged)}) {
        const auto found = std::ranges::find(run.limits, fit, &LimitResult_T::fit);
        if (found != run.limits.end()) {
            run.outcome = outcome;
            run.reason = LimitText(*found);
            return;
        }
    }
    if (setup.objection != nullptr) {
        run.outcome = Outcome::NotJudged;
        run.reason = setup.objection;
    }
}
