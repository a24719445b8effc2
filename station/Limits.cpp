#include "station/Subcommands.h"
#include "station/judge/LimitsFile.h"
#include "station/judge/Measurements.h"
#include "station/output/Text.h"
#include "tools/CommandLine.h"
#include "tools/Program.h"

#include <algorithm>
#include <iterator>

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
    void (*run)(const QStringList& words);
};

void Check(const QStringList& words)
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
    return PrintableText(text + (limit.note.empty() ? "" : ": " + limit.note)).toUtf8().toStdString() + "\n";
}

void Show(const QStringList& words)
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

constexpr Action_T c_Actions[] = {
    {"check", "FILE...", "Checks limits files.", 1, 1000, Check},
    {"show", "FILE PRODUCT COMMAND", "Prints the limits for a product and a command.", 3, 3, Show},
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
                      u"Checks and shows limits, by which report judges measurements.\n"
                      "Exit status: 0; 2 wrong usage, or a file is refused."_s);
    line.Parser().addPositionalArgument(u"action"_s, u"What to do; see below."_s, u"action argument..."_s);
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
    action->run(words);
    return 0;
}
