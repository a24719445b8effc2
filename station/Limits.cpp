#include "station/judge/Limits.h"
#include "station/Report.h"
#include "station/Subcommands.h"
#include "station/Transcripts.h"
#include "station/judge/LearnLimits.h"
#include "station/judge/Measurements.h"
#include "station/transcript/PrintableText.h"
#include "tools/CommandLine.h"
#include "tools/Program.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{
/// What to do with limits.
struct Action_T {
    const char* word;
    const char* arguments;   ///< for the help
    const char* description; ///< for the help
    qsizetype least;         ///< words that it takes
    qsizetype most;
    bool takesOptions;
    void (*run)(const QStringList& words, const QCommandLineParser& parser);
};

constexpr char c_Output[] = "output";
constexpr char c_RejectRate[] = "reject-rate";
constexpr const char* c_Options[] = {c_Output, c_Product, c_RejectRate};
constexpr double c_UsualRejectRate = 0.001;
constexpr double c_LeastRejectRate = 1e-6;
constexpr double c_MostRejectRate = 0.1;

std::string Printable(const Bytes_T& text) { return PrintableText(text).toUtf8().toStdString(); }

void Check(const QStringList& words, const QCommandLineParser&)
{
    for (const QString& word : words) {
        const std::string file = BytesOf(word);
        const std::size_t count = ReadLimits(file).size();
        Print(file + ": " + std::to_string(count) + (count == 1 ? " limit\n" : " limits\n"));
    }
}

std::string Line(const Limit_T& limit)
{
    const MeasurementRow_T* const row = MeasurementOf(limit.measurement);
    std::string text = limit.measurement + " " + RangeText(limit, row == nullptr ? "" : row->unit);
    if (limit.margin > 0) {
        text += ", margin " + QByteArray::number(limit.margin, 'g', 8).toStdString();
    }
    for (const auto& [name, glob] :
         {std::pair("channel", &limit.channel), std::pair("setting", &limit.setting)}) {
        text += *glob == "*" ? "" : std::string(", ") + name + " " + *glob;
    }
    text += limit.isRepeated ? ", repeated runs only" : "";
    return Printable(text + (limit.note.empty() ? "" : ": " + limit.note)) + "\n";
}

void Show(const QStringList& words, const QCommandLineParser&)
{
    const std::string product = BytesOf(words[1]);
    const CommandText_T* const command = TextOf(BytesOf(words[2]));
    if (command == nullptr) {
        const std::string word = BytesOf(words[2]);
        throw CUsageError("unknown command " + word + DidYouMean(word, CommandNames()));
    }
    std::string text;
    for (const Limit_T& limit : ReadLimits(BytesOf(words[0]))) {
        text += IsFor(limit, product, *command) ? Line(limit) : "";
    }
    Print(text.empty() ? "no limit is for this product and command\n" : text);
}

/// Hands runs on to a learner.
class CTeacher : public IRunWriter
{
public:
    explicit CTeacher(CLimitsLearner& learner) : m_Learner(learner) {}
    void Write(const Run_T& run) override { m_Learner.Take(run); }

private:
    CLimitsLearner& m_Learner;
};

double ReadRejectRate(const QCommandLineParser& parser)
{
    if (!parser.isSet(Decoded(c_RejectRate))) {
        return c_UsualRejectRate;
    }
    bool isNumber = false;
    const QString text = parser.value(Decoded(c_RejectRate));
    const double rate = text.toDouble(&isNumber);
    if (!isNumber || !(rate >= c_LeastRejectRate && rate <= c_MostRejectRate)) {
        throw CUsageError(u"--reject-rate takes a number from %1 to %2, not \"%3\""_s.arg(c_LeastRejectRate)
                              .arg(c_MostRejectRate)
                              .arg(text));
    }
    return rate;
}

void Learn(const QStringList& words, const QCommandLineParser& parser)
{
    const std::string output = BytesOf(parser.value(Decoded(c_Output)));
    if (output.empty()) {
        throw CUsageError(u"limits learn needs --output FILE"_s);
    }
    const double rate = ReadRejectRate(parser);
    CLimitsLearner learner(BytesOf(parser.value(Decoded(c_Product))), rate);
    CTeacher teacher(learner);
    CMeasurer measurer({});
    std::vector<std::string> names;
    std::ranges::transform(words, std::back_inserter(names), BytesOf);
    std::vector<FileIdentity_T> written;
    if (const auto identity = RegularFile(output)) {
        written.push_back(*identity);
    }
    const Transcripts_T transcripts = FindTranscripts(names, written);
    std::ranges::for_each(transcripts.complaints, PrintError);
    bool areRead = transcripts.complaints.empty();
    for (const std::string& file : transcripts.files) {
        areRead = ReadFile(file, teacher, {.pMeasurer = &measurer}) && areRead;
    }
    const auto objections = learner.Objections();
    for (const Bytes_T& objection : objections) {
        PrintError(Printable(objection));
    }
    if (!areRead || !objections.empty()) {
        throw std::runtime_error("no limits were learned");
    }
    const Learned_T learned = learner.Learn();
    for (const Bytes_T& remark : learned.remarks) {
        Print(Printable(remark) + "\n");
    }
    const QByteArray text = LimitsText(
        learned.limits, "Learned from the transcripts of " + std::to_string(transcripts.files.size()) +
                            " good units, to reject at most " +
                            QByteArray::number(rate, 'g', 6).toStdString() + " of the good runs.");
    ParseLimits(output, text);
    std::ofstream file(output, std::ios::binary);
    if (!(file << text.toStdString() << std::flush)) {
        throw std::runtime_error(output + ": " + std::strerror(errno));
    }
}

constexpr Action_T c_Actions[] = {
    {"check", "FILE...", "Checks limits files.", 1, 1'000'000, false, Check},
    {"learn", "--output FILE GOOD...", "Learns limits from transcripts of good units.", 1, 1'000'000, true,
     Learn},
    {"show", "FILE PRODUCT COMMAND", "Prints the limits for a product and a command.", 3, 3, false, Show},
};

std::string ActionHelp()
{
    std::string text = "\nActions:\n";
    for (const Action_T& row : c_Actions) {
        const std::string words = std::string(row.word) + " " + row.arguments;
        text += "  " + words + std::string(std::max<std::size_t>(words.size(), 28) - words.size() + 2, ' ') +
                row.description + "\n";
    }
    return text;
}
} // namespace

int Limits(const QStringList& arguments)
{
    CCommandLine line(u"sonarbench-station limits"_s,
                      u"Learns, checks and shows limits, by which report judges measurements.\n"
                      "Exit status: 0; 2 wrong usage, or a file is refused."_s);
    line.Parser().addPositionalArgument(u"action"_s, u"What to do; see below."_s, u"action argument..."_s);
    line.Add({Decoded(c_Output), u"The limits file that learn writes."_s, u"FILE"_s});
    line.Add({Decoded(c_Product), u"The product of the good units (default: limits for any product)."_s,
              u"NAME"_s});
    line.Add({Decoded(c_RejectRate),
              u"The share of good runs that learned limits may reject (default %1)."_s.arg(c_UsualRejectRate),
              u"SHARE"_s});
    line.AddHelp(ActionHelp());
    if (!line.Read(arguments)) {
        return 0;
    }
    QStringList words = line.Parser().positionalArguments();
    if (words.isEmpty()) {
        throw CUsageError(u"an action is missing; --help lists them"_s);
    }
    const std::string word = BytesOf(words.takeFirst());
    const auto* const action =
        std::ranges::find_if(c_Actions, [&word](const Action_T& row) { return word == row.word; });
    if (action == std::end(c_Actions)) {
        std::vector<std::string> known;
        std::ranges::transform(c_Actions, std::back_inserter(known), &Action_T::word);
        throw CUsageError("unknown action " + word + DidYouMean(word, known));
    }
    if (words.size() < action->least || words.size() > action->most) {
        throw CUsageError("limits " + word + " takes " + action->arguments);
    }
    const bool hasOption = std::ranges::any_of(
        c_Options, [&line](const char* option) { return line.Parser().isSet(Decoded(option)); });
    if (hasOption && !action->takesOptions) {
        throw CUsageError("limits " + word + " takes no options");
    }
    action->run(words, line.Parser());
    return 0;
}
