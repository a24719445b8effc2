#include "station/output/SummaryWriter.h"

#include "station/output/Formats.h"
#include "station/output/Text.h"

using namespace Qt::StringLiterals;

QString SummaryText(const Run_T& run)
{
    QString text = TitleOf(run) + u": "_s + QLatin1StringView(NameOf(run.outcome));
    if (!run.command.empty()) {
        text += u": "_s + PrintableText(run.command);
    }
    if (!run.unit.serialNumber.empty()) {
        text += u", unit "_s + PrintableText(run.unit.serialNumber);
    }
    if (!run.reason.empty()) {
        text += u": "_s + PrintableText(run.reason);
    }
    text += u'\n';
    for (const Line_T& unrecognised : run.unrecognised) {
        text += PrintableText(run.transcript) + u":%1: unrecognised: "_s.arg(unrecognised.number) +
                PrintableText(unrecognised.text) + u'\n';
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

namespace
{
/// One line for each run, for people, then the counts.
class CSummaryWriter : public IRunWriter
{
public:
    explicit CSummaryWriter(QIODevice& output) : m_Output(output) {}

    void Write(const Run_T& run) override { m_Output.write(SummaryText(run).toUtf8()); }
    void End(const Summary_T& summary) override { m_Output.write(SummaryText(summary).toUtf8()); }

private:
    QIODevice& m_Output;
};
} // namespace

std::unique_ptr<IRunWriter> MakeSummaryWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CSummaryWriter>(output);
}
