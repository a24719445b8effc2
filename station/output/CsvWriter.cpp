#include "station/output/Formats.h"

#include "station/judge/Limits.h"
#include "station/judge/Measurements.h"
#include "station/output/Text.h"

#include <cmath>

namespace
{
QByteArray Quoted(const Bytes_T& text)
{
    return '"' + PrintableText(text).toUtf8().replace('"', "\"\"") + '"';
}

/// What the rows of a run begin with.
QByteArray BeginningOf(const Run_T& run)
{
    return Quoted(run.transcript) + ',' + QByteArray::number(run.firstLine) + ',' + Quoted(run.command) +
           ',' + NameOf(run.outcome) + ',';
}

// Comma-separated values below a row of names; lines end as in RFC 4180.

/// One row for each sample.
class CCsvWriter : public IRunWriter
{
public:
    explicit CCsvWriter(QIODevice& output) : m_Output(output) {}

    void Begin() override { m_Output.write("transcript,line,command,result,sample,value\r\n"); }

    void Write(const Run_T& run) override
    {
        const QByteArray beginning = BeginningOf(run);
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

QByteArray Bound(double bound) { return std::isinf(bound) ? QByteArray() : NumberText(bound).toLatin1(); }

/// One row for each measurement, and one for each limit.
class CMeasurementsWriter : public IRunWriter
{
public:
    explicit CMeasurementsWriter(QIODevice& output) : m_Output(output) {}

    void Begin() override
    {
        m_Output.write(
            "transcript,line,command,result,measurement,value,unit,receiver law,fit,least,most,note\r\n");
    }

    void Write(const Run_T& run) override
    {
        const QByteArray beginning = BeginningOf(run);
        QByteArray rows;
        for (const Quantity_T& measured : run.measurements) {
            const MeasurementRow_T* const row = MeasurementOf(measured.name);
            const bool usesLaw = row != nullptr && row->usesLaw;
            rows += beginning + measured.name + ',' + NumberText(measured.value).toLatin1() + ',' +
                    measured.unit + ',' + (usesLaw ? run.receiverLaw : "") + ",,,,\r\n";
        }
        for (const LimitResult_T& result : run.limits) {
            const Limit_T& limit = *result.limit;
            rows += beginning + QByteArray::fromStdString(limit.measurement) + ',' +
                    (result.fit == Fit::Absent ? QByteArray() : NumberText(result.value).toLatin1()) + ',' +
                    result.unit + ",," + NameOf(result.fit) + ',' + Bound(limit.least) + ',' +
                    Bound(limit.most) + ',' + Quoted(limit.note) + "\r\n";
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

std::unique_ptr<IRunWriter> MakeMeasurementsWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CMeasurementsWriter>(output);
}
