#include "station/results/Yield.h"
#include "station/DatabaseOptions.h"
#include "station/Subcommands.h"
#include "station/output/Outputs.h"
#include "station/results/YieldRules.h"
#include "tools/Program.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

using namespace Qt::StringLiterals;

namespace
{
constexpr int c_Alarm = 1;
constexpr int c_NotChecked = 3;

constexpr char c_By[] = "by";
constexpr char c_Check[] = "check";

/// An output, and what makes it.
struct Output_T {
    const char* option;
    const char* description;
    std::string (*make)(const YieldFigures_T& figures);
};
constexpr Output_T c_Outputs[] = {
    {"html", "Writes a page with yields and control charts.", YieldPage},
    {"json", "Writes all figures as one JSON object.", YieldJson},
};

const GroupKind_T* ReadBy(const QCommandLineParser& parser)
{
    if (!parser.isSet(Decoded(c_By))) {
        return nullptr;
    }
    const std::string word = BytesOf(parser.value(Decoded(c_By)));
    const auto kind =
        std::ranges::find_if(GroupKinds(), [&word](const GroupKind_T& row) { return row.name == word; });
    if (kind == GroupKinds().end()) {
        throw CUsageError("--by takes product, station, day or operator, not \"" + word + "\"");
    }
    return &*kind;
}

void Write(const std::string& file, const std::string& text)
{
    if (file == c_StandardStream) {
        return Print(text);
    }
    std::ofstream output(file, std::ios::binary);
    if (!(output << text << std::flush)) {
        throw std::runtime_error(file + ": " + std::strerror(errno));
    }
}

/// Before anything is written.
void RefuseToOverwrite(const std::string& database, const QCommandLineParser& parser)
{
    for (const Output_T& output : c_Outputs) {
        const auto written = RegularFile(BytesOf(parser.value(Decoded(output.option))));
        if (written && written == RegularFile(database)) {
            throw CUsageError(u"--%1 names the database"_s.arg(Decoded(output.option)));
        }
    }
}

void WriteOutputs(const QCommandLineParser& parser, const YieldFigures_T& figures)
{
    bool isWritten = false;
    for (const Output_T& output : c_Outputs) {
        for (const QString& file : parser.values(Decoded(output.option))) {
            Write(BytesOf(file), output.make(figures));
            isWritten = true;
        }
    }
    if (!isWritten) {
        Print(YieldText(figures));
    }
}
} // namespace

int Yield(const QStringList& arguments)
{
    CCommandLine line(u"sonarbench-station yield"_s,
                      u"Shows yields, reasons of failures, and how measurements spread and drift.\n"
                      "FILE is a file to write, or - for standard output. Without an output option,\n"
                      "a text goes to standard output.\n"
                      "Exit status: 0; 1 a rule of --check objects; 2 wrong usage, or the database or a\n"
                      "file could not be used; 3 no rule objects, but one has no figure to check."_s);
    AddDatabaseOption(line, "The database: a file (default: results.db), or postgresql://...");
    for (const Output_T& output : c_Outputs) {
        line.Add({Decoded(output.option), Decoded(output.description), u"FILE"_s});
    }
    line.Add({Decoded(c_By), u"Yields also by product, station, day or operator."_s, u"WHAT"_s});
    line.Add({Decoded(c_Check), u"Checks figures by rules, see below."_s, u"RULES"_s});
    line.Add({Decoded(c_Product), u"Only runs of this product."_s, u"NAME"_s});
    AddFilterOptions(line, false);
    line.AddHelp(YieldRuleHelp());
    if (!line.Read(arguments)) {
        return 0;
    }
    const QCommandLineParser& parser = line.Parser();
    if (!parser.positionalArguments().isEmpty()) {
        throw CUsageError(u"yield takes no arguments, only options"_s);
    }
    const std::vector<YieldCheck_T> checks = parser.isSet(Decoded(c_Check))
                                                 ? ParseYieldRules(BytesOf(parser.value(Decoded(c_Check))))
                                                 : std::vector<YieldCheck_T>();
    const GroupKind_T* const by = ReadBy(parser);
    RunFilter_T filter = ReadFilter(parser);
    filter.product = BytesOf(parser.value(Decoded(c_Product)));
    const std::string url = ReadDatabaseOption(parser);
    RefuseToOverwrite(url, parser);
    CDatabase database(url);
    YieldFigures_T figures = ReadYield(database, filter, by);
    int status = 0;
    for (const YieldCheck_T& check : checks) {
        if (!Check(check, figures)) {
            PrintError(check.rule.name + ": there is no figure to check");
            status = c_NotChecked;
        }
    }
    for (const Alarm_T& alarm : figures.alarms) {
        PrintError(AlarmText(alarm));
        status = c_Alarm;
    }
    WriteOutputs(parser, figures);
    return status;
}
