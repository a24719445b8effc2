#include "station/CsvWriter.h"

#include "station/Text.h"

namespace
{
QByteArray Quoted(const Bytes_T& text)
{
    return '"' + PrintableText(text).toUtf8().replace('"', "\"\"") + '"';
}
} // namespace

void CCsvWriter::Begin() { m_Output.write("transcript,line,command,result,sample,value\r\n"); }

void CCsvWriter::Write(const Run_T& run)
{
    const QByteArray beginning = Quoted(run.transcript) + ',' + QByteArray::number(run.firstLine) + ',' +
                                 Quoted(run.command) + ',' + NameOf(run.outcome) + ',';
    std::uint64_t sample = 0;
    QByteArray rows;
    for (const std::int32_t value : run.samples.values) {
        rows += beginning + QByteArray::number(sample) + ',' + QByteArray::number(value) + "\r\n";
        sample += run.samples.Step();
        constexpr qsizetype enough = qsizetype{64} * 1024;
        if (rows.size() > enough) {
            m_Output.write(rows);
            rows.clear();
        }
    }
    m_Output.write(rows);
}
