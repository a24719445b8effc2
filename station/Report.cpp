#include "station/Report.h"
#include "station/DatabaseOptions.h"
#include "station/Subcommands.h"
#include "station/Transcripts.h"
#include "station/judge/Limits.h"
#include "station/judge/Measurements.h"
#include "station/output/Outputs.h"
#include "station/output/Text.h"
#include "tools/BoundedFile.h"
#include "tools/CommandLine.h"
#include "tools/Program.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr int c_NotRecognised = 4;
// The simulator and the scripts of examples/station/ know them, too.
constexpr int c_NotJudged = 3;
constexpr std::array<int, c_Outcomes> c_Statuses = {0, 0, 1, c_NotJudged}; // by Outcome

constexpr char c_Limits[] = "limits";
constexpr char c_Ascii[] = "ascii";
constexpr char c_Strict[] = "strict";
constexpr char c_Linear[] = "linear";
constexpr char c_Verdict[] = "verdict";
constexpr char c_Color[] = "color";
constexpr char c_Law[] = "receiver-law";
constexpr char c_Follow[] = "follow";
constexpr int c_UsualWidth = 80;

/// What the command line asks for.
struct Options_T {
    std::vector<WantedOutput_T> outputs;  ///< at least one
    std::vector<std::string> transcripts; ///< files and directories; at least one
    bool isStrict = false;
    bool isFollowed = false;
    std::optional<bool> isColoured; ///< the verdict on standard error; nothing: as it takes colours
    bool showsVerdict = false;
    View_T view;
    std::optional<CLimits> limits;
    ReceiverLaw law = ReceiverLaw::SquareRoot;
    std::string database; ///< whose runs are read in place of transcripts; empty: none
    ChosenRuns_T chosen;  ///< of the database
};

/// An option with a number, and where it goes.
struct NumberOption_T {
    const char* name;
    const char* description;
    const char* value;
    bool isWhole;
    double low;
    double high;
    void (*store)(View_T& view, double number);
};

constexpr NumberOption_T c_Numbers[] = {
    {"sample-clock", "Samples that a unit takes per second; shows the range in pictures.", "HERTZ", false, 1,
     1e9, [](View_T& view, double number) { view.sampleClock = number; }},
    {"sound-speed", "Speed of sound in the water, in metres per second (default 1500).", "SPEED", false, 100,
     10000, [](View_T& view, double number) { view.soundSpeed = number; }},
    {"width", "Columns for --plot (default: the terminal's).", "COLUMNS", true, c_NarrowestPlot, c_WidestPlot,
     [](View_T& view, double number) { view.width = static_cast<int>(number); }},
};

int TerminalWidth()
{
    bool isNumber = false;
    const int columns = qEnvironmentVariableIntValue("COLUMNS", &isNumber);
    if (isNumber && columns > 0) {
        return columns;
    }
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : c_UsualWidth;
}

bool IsUtf8Terminal()
{
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const QString value = qEnvironmentVariable(name).toLower();
        if (!value.isEmpty()) {
            return value.contains(u"utf-8") || value.contains(u"utf8");
        }
    }
    return false;
}

/// Nothing for auto.
std::optional<bool> ReadColour(const QCommandLineParser& parser)
{
    const QString value = parser.isSet(Decoded(c_Color)) ? parser.value(Decoded(c_Color)) : u"auto"_s;
    if (value != u"auto" && value != u"always" && value != u"never") {
        throw CUsageError(u"--%1 takes auto, always or never, not \"%2\""_s.arg(Decoded(c_Color), value));
    }
    return value == u"auto" ? std::nullopt : std::optional(value == u"always");
}

View_T ReadView(const QCommandLineParser& parser)
{
    View_T view;
    view.isLinear = parser.isSet(Decoded(c_Linear));
    view.isTerminal = ::isatty(STDOUT_FILENO) == 1;
    view.isColoured = ReadColour(parser).value_or(TakesColours(STDOUT_FILENO));
    view.width = TerminalWidth();
    view.isAscii = parser.isSet(Decoded(c_Ascii)) || !IsUtf8Terminal();
    for (const NumberOption_T& option : c_Numbers) {
        const QString name = Decoded(option.name);
        if (!parser.isSet(name)) {
            continue;
        }
        bool isNumber = false;
        const QString text = parser.value(name);
        const double number = option.isWhole ? text.toInt(&isNumber) : text.toDouble(&isNumber);
        if (!isNumber || !(number >= option.low && number <= option.high)) {
            throw CUsageError(u"--%1 takes a %2 from %3 to %4, not \"%5\""_s.arg(
                name, option.isWhole ? u"whole number"_s : u"number"_s, QString::number(option.low),
                QString::number(option.high, 'f', 0), text));
        }
        option.store(view, number);
    }
    return view;
}

ReceiverLaw ReadLaw(const QCommandLineParser& parser)
{
    const QString name = Decoded(c_Law);
    if (!parser.isSet(name)) {
        return ReceiverLaw::SquareRoot;
    }
    const auto law = ReceiverLawOf(BytesOf(parser.value(name)));
    if (!law) {
        throw CUsageError(u"--%1 takes square-root or linear, not \"%2\""_s.arg(name, parser.value(name)));
    }
    return *law;
}

std::vector<WantedOutput_T> ReadOutputs(const QCommandLineParser& parser)
{
    std::vector<WantedOutput_T> outputs;
    for (const Format_T& format : Formats()) {
        const QString option = Decoded(format.option);
        if (!format.takesFile && parser.isSet(option)) {
            outputs.push_back({&format, c_StandardStream});
        }
        for (const QString& file : parser.values(option)) {
            if (file.isEmpty()) {
                throw CUsageError(u"--%1 needs the name of a file"_s.arg(option));
            }
            outputs.push_back({&format, BytesOf(file)});
        }
    }
    if (outputs.empty()) {
        outputs.push_back({&Formats().front(), c_StandardStream});
    }
    return outputs;
}

std::vector<std::string> ReadTranscriptNames(const QCommandLineParser& parser)
{
    std::vector<std::string> names;
    std::ranges::transform(parser.positionalArguments(), std::back_inserter(names), BytesOf);
    if (std::ranges::count(names, c_StandardStream) > 1) {
        throw CUsageError(u"standard input can be read only once"_s);
    }
    const bool isDatabase = parser.isSet(Decoded(c_DatabaseOption));
    if (isDatabase && !names.empty()) {
        throw CUsageError(u"--database is read in place of transcripts"_s);
    }
    if (names.empty() && !isDatabase) {
        names.emplace_back(c_StandardStream);
    }
    return names;
}

void AddOptions(CCommandLine& line)
{
    for (const Format_T& format : Formats()) {
        line.Add(
            {Decoded(format.option), Decoded(format.description), format.takesFile ? u"FILE"_s : QString()},
            Occurs::Often);
    }
    for (const NumberOption_T& option : c_Numbers) {
        line.Add({Decoded(option.name), Decoded(option.description), Decoded(option.value)});
    }
    AddLimitsOptions(line);
    line.Add({Decoded(c_Law),
              u"How 8-bit samples depend on the amplitude: square-root (default) or linear."_s, u"LAW"_s});
    AddDatabaseOption(line, "Reads the runs of a results database: a file, or postgresql://...");
    AddFilterOptions(line);
    line.Add({Decoded(c_Linear), u"Draws --plot with linear amplitudes (default: in decibels)."_s});
    line.Add({Decoded(c_Ascii), u"Draws with ASCII only (default: if the locale is not UTF-8)."_s});
    line.Add({Decoded(c_Follow), u"Reads on when a file grows, until SIGINT or SIGTERM."_s});
    line.Add({Decoded(c_Verdict), u"Shows PASS, FAIL or NOT TESTED in large letters on standard error."_s});
    line.Add({Decoded(c_Color),
              u"Colours on standard output: auto (default; a terminal, without NO_COLOR), always or never."_s,
              u"WHEN"_s});
    line.Add({Decoded(c_Strict), u"Ends with 4 when a line is not recognised."_s});
    line.Parser().addPositionalArgument(
        u"transcript"_s, u"Files or directories; - or nothing: standard input."_s, u"[transcript...]"_s);
}

} // namespace

void AddLimitsOptions(CCommandLine& line)
{
    line.Add({Decoded(c_Limits), u"Judges measurements by the limits in a file."_s, u"FILE"_s},
             Occurs::Often);
    line.Add({Decoded(c_Product), u"The product that the limits are for."_s, u"NAME"_s});
}

std::optional<CLimits> ReadLimitsOptions(const QCommandLineParser& parser)
{
    const bool hasProduct = parser.isSet(Decoded(c_Product));
    const std::string product = BytesOf(parser.value(Decoded(c_Product)));
    if (!parser.isSet(Decoded(c_Limits))) {
        if (hasProduct) {
            throw CUsageError(u"--product needs --limits"_s);
        }
        return std::nullopt;
    }
    std::vector<Limit_T> all;
    for (const QString& file : parser.values(Decoded(c_Limits))) {
        std::ranges::move(ReadLimits(BytesOf(file)), std::back_inserter(all));
    }
    CLimits limits(std::move(all), product);
    if (hasProduct && !limits.IsForProduct()) {
        throw CUsageError("no limit is for the product \"" + product + "\"");
    }
    return limits;
}

bool ReadFile(const std::string& name, IRunWriter& consumer, Judges_T judges, bool isFollowed)
{
    const bool isStream = name == c_StandardStream;
    const std::string shown = isStream ? "standard input" : name;
    const CDescriptor opened(isStream ? -1 : ::open(name.c_str(), O_RDONLY | O_CLOEXEC));
    if (!isStream && opened.Get() < 0) {
        PrintError(shown + ": " + std::strerror(errno));
        return false;
    }
    CFileSource file(isStream ? STDIN_FILENO : opened.Get(), isFollowed);
    CExpandedSource bytes(file);
    ReadTranscript(name, bytes, consumer, judges);
    if (!bytes.Failure().empty()) {
        PrintError(shown + ": " + bytes.Failure());
    }
    return bytes.Failure().empty();
}

bool TakesColours(int stream) { return ::isatty(stream) == 1 && qEnvironmentVariableIsEmpty("NO_COLOR"); }

void ShowVerdict(int status, const QString& name, const QString& details, bool isColoured)
{
    struct Word_T {
        const char* text;
        const char* colour; ///< bold white on green, red and blue
    };
    constexpr Word_T good = {"PASS", "\x1b[1;97;42m"};
    constexpr Word_T bad = {"FAIL", "\x1b[1;97;41m"};
    constexpr Word_T untested = {"NOT TESTED", "\x1b[1;97;44m"};
    const Word_T& word = status == 0 ? good : status == 1 ? bad : untested;
    constexpr qsizetype width = 60;
    const QString line = u"  %1   %2"_s.arg(Decoded(word.text), name);
    QString text;
    for (const QString& row : {QString(), line, QString()}) {
        const QString shown = isColoured ? row : row.isEmpty() ? QString(width, u'=') : row;
        text += (isColoured ? Decoded(word.colour) : QString()) + shown.leftJustified(width) +
                (isColoured ? u"\x1b[0m\n"_s : u"\n"_s);
    }
    std::fputs(qUtf8Printable(text + details), stderr);
}

int StatusOf(const Summary_T& summary, bool isStrict)
{
    int status = summary.runs == 0 ? c_NotJudged : 0;
    for (std::size_t outcome = 0; outcome < c_Outcomes; ++outcome) {
        status = std::max(status, summary.outcomes[outcome] != 0 ? c_Statuses[outcome] : 0);
    }
    return isStrict && summary.unrecognised != 0 ? c_NotRecognised : status;
}

namespace
{
bool IsDirectory(const std::string& name)
{
    std::error_code failure;
    return std::filesystem::is_directory(name, failure);
}

int ReadAndWrite(Options_T options)
{
    CMeasurer measurer({options.law, options.view.sampleClock, options.view.soundSpeed});
    const bool areShown = std::ranges::any_of(
        options.outputs, [](const WantedOutput_T& output) { return output.format->isMeasured; });
    if (options.limits && !areShown) {
        measurer.MeasureOnly(options.limits->Measurements());
    }
    const Judges_T judges{.pMeasurer = areShown || options.limits ? &measurer : nullptr,
                          .pLimits = options.limits ? &*options.limits : nullptr};
    COutputs outputs(options.outputs, options.view);
    const Transcripts_T transcripts = FindTranscripts(options.transcripts, outputs.Written());
    outputs.Begin();
    for (const std::string& file : transcripts.skipped) {
        PrintError(file + ": skipped, because it is no transcript");
    }
    std::ranges::for_each(transcripts.complaints, PrintError);
    bool areRead = transcripts.complaints.empty();
    for (const std::string& file : transcripts.files) {
        // The others are read all the same.
        areRead = ReadFile(file, outputs, judges, options.isFollowed) && areRead;
    }
    if (!options.database.empty()) {
        ReadDatabase(options.database, options.chosen, outputs, judges);
    }
    outputs.End(outputs.Summary());
    if (const std::string failed = outputs.Failed(); !failed.empty()) {
        throw std::runtime_error(failed);
    }
    const int status = areRead ? StatusOf(outputs.Summary(), options.isStrict) : c_WrongUsage;
    if (options.showsVerdict) {
        const Summary_T& summary = outputs.Summary();
        const QString reason = PrintableText(summary.reason);
        ShowVerdict(status,
                    summary.isOneUnit && !summary.unit.empty()
                        ? PrintableText(summary.unit)
                        : u"%1 "_s.arg(summary.runs) + Plural(summary.runs, u"run"_s),
                    reason.isEmpty() ? QString() : u"  "_s + reason + u'\n',
                    options.isColoured.value_or(TakesColours(STDERR_FILENO)));
    }
    return status;
}
} // namespace

int Report(const QStringList& arguments)
{
    CCommandLine line(u"sonarbench-station report"_s,
                      u"Reads what sonarbench printed, and says how each run ended.\n"
                      "FILE is a file to write, or - for standard output. Without an output option,\n"
                      "the summary goes to standard output.\n"
                      "Exit status: 0 all runs passed or performed; 1 a unit failed; 2 wrong usage, or\n"
                      "a file could not be read or written; 3 a run could not be judged; 4 a line was\n"
                      "not recognised (--strict). If several apply: 2, otherwise the largest."_s);
    AddOptions(line);
    if (!line.Read(arguments)) {
        return 0;
    }
    const QCommandLineParser& parser = line.Parser();
    const std::vector<std::string> names = ReadTranscriptNames(parser);
    const bool isFollowed = parser.isSet(Decoded(c_Follow));
    if (isFollowed && (names.size() != 1 || IsDirectory(names.front()))) {
        throw CUsageError(u"--follow reads one file"_s);
    }
    const bool isDatabase = parser.isSet(Decoded(c_DatabaseOption));
    const bool hasLimits = parser.isSet(Decoded(c_Limits)) || !isDatabase;
    ChosenRuns_T chosen = ReadFilterOptions(parser);
    chosen.files.product = BytesOf(parser.value(Decoded(c_Product)));
    return ReadAndWrite({ReadOutputs(parser), names, parser.isSet(Decoded(c_Strict)), isFollowed,
                         ReadColour(parser), parser.isSet(Decoded(c_Verdict)), ReadView(parser),
                         hasLimits ? ReadLimitsOptions(parser) : std::nullopt, ReadLaw(parser),
                         isDatabase ? ReadDatabaseOption(parser) : std::string(), chosen});
}
