#include "station/output/Formats.h"

#include "station/output/Text.h"

namespace
{
QByteArray Quoted(const Bytes_T& text)
{
    return '"' + PrintableText(text).toUtf8().replace('"', "\"\"") + '"';
}

/// The samples as comma-separated values, one row each, below a row of names; lines end as in RFC 4180.
class CCsvWriter : public IRunWriter
{
public:
    explicit CCsvWriter(QIODevice& output) : m_Output(output) {}

    void Begin() override { m_Output.write("transcript,line,command,result,sample,value\r\n"); }

    void Write(const Run_T& run) override
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

private:
    QIODevice& m_Output;
};
} // namespace

std::unique_ptr<IRunWriter> MakeCsvWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CCsvWriter>(output);
}
