#include "station/SummaryWriter.h"

#include "station/Text.h"

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
    QString line = u"%1 runs"_s.arg(summary.runs);
    for (const Outcome outcome : {Outcome::Passed, Outcome::Performed, Outcome::Failed, Outcome::NotJudged}) {
        line += u", %1 "_s.arg(summary.outcomes[static_cast<std::size_t>(outcome)]) +
                QLatin1StringView(NameOf(outcome));
    }
    return line + u"; %1 lines, %2 unrecognised\n"_s.arg(summary.claimed + summary.unrecognised)
                      .arg(summary.unrecognised);
}

void CSummaryWriter::Write(const Run_T& run) { m_Output.write(SummaryText(run).toUtf8()); }

void CSummaryWriter::End(const Summary_T& summary) { m_Output.write(SummaryText(summary).toUtf8()); }
