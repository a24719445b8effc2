#include "station/output/Text.h"

#include "station/judge/Limits.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <filesystem>

using namespace Qt::StringLiterals;

namespace
{
// Colours of a terminal: the digits of its escape sequences.
constexpr char c_Green[] = "32";
constexpr char c_BoldRed[] = "1;31";
constexpr char c_BoldYellow[] = "1;33";

/// By Outcome, and by Fit.
constexpr std::array<const char*, c_Outcomes> c_OutcomeColours = {c_Green, c_Green, c_BoldRed, c_BoldYellow};
constexpr std::array<const char*, 4> c_FitColours = {c_Green, c_BoldYellow, c_BoldRed, c_BoldYellow};

const char* ColourOf(Outcome outcome) { return c_OutcomeColours.at(static_cast<std::size_t>(outcome)); }
const char* ColourOf(Fit fit) { return c_FitColours.at(static_cast<std::size_t>(fit)); }

void AppendWord(std::string& text, const char* word, const char* colour, bool isColoured)
{
    if (isColoured) {
        text.append("\x1b[").append(colour).append("m").append(word).append("\x1b[0m");
    } else {
        text += word;
    }
}

/// "transcript.txt:12: "
void AppendPlace(std::string& text, const Run_T& run, std::uint64_t line)
{
    AppendPrintable(text, run.transcript);
    text.append(":").append(std::to_string(line)).append(": ");
}

/// Appends a text that may be empty, and what comes before it.
void AppendOptional(std::string& text, const char* before, std::string_view bytes)
{
    if (!bytes.empty()) {
        text += before;
        AppendPrintable(text, bytes);
    }
}
} // namespace

void AppendMarkup(std::string& text, std::string_view bytes)
{
    const auto special = std::ranges::find_if(bytes, [](char byte) {
        return byte < ' ' || byte > '~' || byte == '<' || byte == '>' || byte == '&' || byte == '"';
    });
    const auto plain = static_cast<std::size_t>(special - bytes.begin());
    text += bytes.substr(0, plain);
    if (plain < bytes.size()) {
        text += PrintableText(bytes.substr(plain)).toHtmlEscaped().toStdString();
    }
}

QString Plural(std::uint64_t count, const QString& noun) { return count == 1 ? noun : noun + u's'; }

QString NumberText(double number) { return QString::fromStdString(NumberBytes(number)); }

std::string NumberBytes(double number, int digits)
{
    std::array<char, 32> text; // enough for these digits, a sign, a point and an exponent
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, digits);
    return {text.data(), end.ptr};
}

QString QuantityText(const Quantity_T& quantity)
{
    const QLatin1StringView unit(quantity.unit);
    return QLatin1StringView(quantity.name) + u' ' + NumberText(quantity.value) +
           (unit.isEmpty() ? QString() : u' ' + unit);
}

QString TitleOf(const Run_T& run) { return PrintableText(run.transcript) + u":%1"_s.arg(run.firstLine); }

std::string UnitOf(const Run_T& run)
{
    if (!run.record.unit.empty() || run.transcript == c_StandardStream) {
        return run.record.unit;
    }
    std::filesystem::path file(run.transcript);
    if (file.extension() == ".gz" || file.extension() == ".zst") {
        file = file.stem();
    }
    return file.stem().string();
}

std::string TestOf(const Run_T& run)
{
    std::string text = run.command;
    for (const Bytes_T& argument : run.arguments) {
        text.append(" ").append(argument);
    }
    return text;
}

std::string SummaryText(const Run_T& run, bool isColoured)
{
    constexpr std::size_t line = 80; // about
    std::string text;
    text.reserve((run.limits.size() + 2) * line);
    AppendPlace(text, run, run.firstLine);
    AppendWord(text, NameOf(run.outcome), ColourOf(run.outcome), isColoured);
    AppendOptional(text, ": ", run.command);
    AppendOptional(text, ", unit ", run.unit.serialNumber.empty() ? run.record.unit : run.unit.serialNumber);
    AppendOptional(text, ": ", run.reason);
    text += '\n';
    for (const LimitResult_T& result : run.limits) {
        text += "  ";
        AppendWord(text, NameOf(result.fit), ColourOf(result.fit), isColoured);
        text += ": ";
        if (HasNote(result)) {
            AppendPrintable(text, LimitText(result));
        } else {
            AppendLimitText(text, result);
        }
        text += '\n';
    }
    for (const Line_T& unrecognised : run.unrecognised) {
        AppendPlace(text, run, unrecognised.number);
        text += "unrecognised: ";
        AppendPrintable(text, unrecognised.text);
        text += '\n';
    }
    return text;
}

QString SummaryText(const Summary_T& summary)
{
    QString line = u"%1 "_s.arg(summary.runs) + Plural(summary.runs, u"run"_s);
    for (const Outcome outcome : {Outcome::Passed, Outcome::Performed, Outcome::Failed, Outcome::NotJudged}) {
        line += u", %1 "_s.arg(summary.outcomes[static_cast<std::size_t>(outcome)]) +
                QLatin1StringView(NameOf(outcome));
    }
    const std::uint64_t lines = summary.claimed + summary.unrecognised;
    return line +
           u"; %1 %2, %3 unrecognised\n"_s.arg(lines).arg(Plural(lines, u"line"_s)).arg(summary.unrecognised);
}
