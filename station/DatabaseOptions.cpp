#include "station/DatabaseOptions.h"

#include "station/Transcripts.h"
#include "tools/Program.h"

#include <QDateTime>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
constexpr char c_UsualDatabase[] = "results.db";
constexpr char c_Outcome[] = "outcome";

/// An option that chooses runs.
struct FilterOption_T {
    const char* name;
    const char* description;
    const char* value;
    Bytes_T RunFilter_T::*field;
    bool isTime = false;
};
constexpr FilterOption_T c_Filters[] = {
    {"unit", "Only runs of this unit of the database.", "SERIAL", &RunFilter_T::unit},
    {"station", "Only runs of this station.", "NAME", &RunFilter_T::station},
    {"since", "Only runs that began at this date or time, in UTC, or later.", "TIME", &RunFilter_T::since,
     true},
    {"until", "Only runs that began before this date or time.", "TIME", &RunFilter_T::until, true},
    {"command", "Only runs of this command, such as xkping.", "COMMAND", &RunFilter_T::command},
};

/// Without the blank of "not judged".
QString OptionOf(Outcome outcome) { return QString::fromLatin1(NameOf(outcome)).replace(u' ', u'-'); }

/// As run files have it.
Bytes_T TimeOf(const QString& option, const QString& text)
{
    QDateTime time = QDateTime::fromString(text, Qt::ISODate);
    if (!time.isValid()) {
        throw CUsageError(
            u"--%1 takes a date or time such as 2026-11-22T10:41, not \"%2\""_s.arg(option, text));
    }
    if (time.timeSpec() == Qt::LocalTime) {
        time.setTimeSpec(Qt::UTC);
    }
    return time.toUTC().toString(u"yyyy-MM-dd'T'HH:mm:ss.zzz'+00:00'"_s).toStdString();
}

/// Hands on the runs of a command and an outcome.
class CChosen : public IRunWriter
{
public:
    CChosen(const ChosenRuns_T& chosen, IRunWriter& consumer) : m_Chosen(chosen), m_Consumer(consumer) {}
    void Write(const Run_T& run) override
    {
        const bool isCommand = m_Chosen.files.command.empty() || run.command == m_Chosen.files.command;
        if (isCommand && (!m_Chosen.outcome || run.outcome == *m_Chosen.outcome)) {
            m_Consumer.Write(run);
        }
    }

private:
    const ChosenRuns_T& m_Chosen;
    IRunWriter& m_Consumer;
};
} // namespace

void AddDatabaseOption(CCommandLine& line, const char* description)
{
    line.Add({Decoded(c_DatabaseOption), Decoded(description), u"URL"_s});
}

std::string ReadDatabaseOption(const QCommandLineParser& parser)
{
    const QString name = Decoded(c_DatabaseOption);
    if (!parser.isSet(name)) {
        return c_UsualDatabase;
    }
    if (parser.value(name).isEmpty()) {
        throw CUsageError(u"--database needs the name of a database"_s);
    }
    return BytesOf(parser.value(name));
}

void AddFilterOptions(CCommandLine& line, bool hasOutcome)
{
    for (const FilterOption_T& option : c_Filters) {
        line.Add({Decoded(option.name), Decoded(option.description), Decoded(option.value)});
    }
    if (hasOutcome) {
        line.Add({Decoded(c_Outcome), u"Only runs that passed, performed, failed, or are not-judged."_s,
                  u"OUTCOME"_s});
    }
}

RunFilter_T ReadFilter(const QCommandLineParser& parser)
{
    RunFilter_T filter;
    for (const FilterOption_T& option : c_Filters) {
        const QString name = Decoded(option.name);
        if (parser.isSet(name)) {
            const QString value = parser.value(name);
            filter.*option.field = option.isTime ? TimeOf(name, value) : BytesOf(value);
        }
    }
    return filter;
}

ChosenRuns_T ReadFilterOptions(const QCommandLineParser& parser)
{
    std::vector<const char*> names = {c_Outcome};
    std::ranges::transform(c_Filters, std::back_inserter(names), &FilterOption_T::name);
    for (const char* const name : names) {
        if (parser.isSet(Decoded(name)) && !parser.isSet(Decoded(c_DatabaseOption))) {
            throw CUsageError(u"--%1 needs --database"_s.arg(Decoded(name)));
        }
    }
    ChosenRuns_T chosen{.files = ReadFilter(parser), .outcome = {}};
    if (parser.isSet(Decoded(c_Outcome))) {
        const QString value = parser.value(Decoded(c_Outcome));
        for (const Outcome outcome :
             {Outcome::Passed, Outcome::Performed, Outcome::Failed, Outcome::NotJudged}) {
            chosen.outcome = OptionOf(outcome) == value ? outcome : chosen.outcome;
        }
        if (!chosen.outcome) {
            throw CUsageError(
                u"--outcome takes passed, performed, failed or not-judged, not \"%1\""_s.arg(value));
        }
    }
    return chosen;
}

void ReadDatabase(const std::string& url, const ChosenRuns_T& chosen, IRunWriter& consumer, Judges_T judges)
{
    CDatabase database(url);
    CChosen runs(chosen, consumer);
    ReadRunFiles(database, chosen.files, [&](const Bytes_T& name, const Bytes_T& bytes) {
        CTextSource source(bytes);
        ReadTranscript(name, source, runs, judges);
    });
}
