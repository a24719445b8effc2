#include "station/SummaryWriter.h"

#include "station/Text.h"

using namespace Qt::StringLiterals;

void CSummaryWriter::Write(const Run_T& run)
{
    QString line = PrintableText(run.transcript) + u":%1: "_s.arg(run.firstLine) +
                   QLatin1StringView(NameOf(run.outcome));
    if (!run.command.empty()) {
        line += u": "_s + PrintableText(run.command);
    }
    if (!run.unit.serialNumber.empty()) {
        line += u", unit "_s + PrintableText(run.unit.serialNumber);
    }
    if (!run.reason.empty()) {
        line += u": "_s + PrintableText(run.reason);
    }
    m_Output.write(line.toUtf8() + '\n');
    for (const Line_T& unrecognised : run.unrecognised) {
        m_Output.write((PrintableText(run.transcript) + u":%1: unrecognised: "_s.arg(unrecognised.number) +
                        PrintableText(unrecognised.text))
                           .toUtf8() +
                       '\n');
    }
}

void CSummaryWriter::End(const Summary_T& summary)
{
    QString line = u"%1 runs"_s.arg(summary.runs);
    for (const Outcome outcome : {Outcome::Passed, Outcome::Performed, Outcome::Failed, Outcome::NotJudged}) {
        line += u", %1 "_s.arg(summary.outcomes[static_cast<std::size_t>(outcome)]) +
                QLatin1StringView(NameOf(outcome));
    }
    m_Output.write((line + u"; %1 lines, %2 unrecognised\n"_s.arg(summary.claimed + summary.unrecognised)
                               .arg(summary.unrecognised))
                       .toUtf8());
}
