#include "station/output/Formats.h"

#include "station/judge/Limits.h"
#include "station/judge/Measurements.h"
#include "station/output/Text.h"
#include "station/output/TextBuffer.h"

#include <cmath>
#include <initializer_list>

namespace
{
// Comma-separated values below a row of names; lines end as in RFC 4180.

/// What a row begins with.
void WriteBeginning(CTextBuffer& buffer, const Run_T& run)
{
    buffer.AppendQuoted(run.transcript, '"', '"');
    buffer.Append(',');
    buffer.Append(run.firstLine);
    buffer.Append(',');
    buffer.AppendQuoted(run.command, '"', '"');
    buffer.Append(',');
    buffer.Append(std::string_view(NameOf(run.outcome)));
    buffer.Append(',');
}

/// The samples: one row for each ping, with the samples in one field, or one for each sample.
class CCsvWriter : public IRunWriter
{
public:
    CCsvWriter(QIODevice& output, bool isBySample) : m_Buffer(output), m_IsBySample(isBySample) {}

    void Begin() override
    {
        m_Buffer.Append(std::string_view("transcript,line,command,result,"));
        m_Buffer.Append(std::string_view(m_IsBySample ? "sample,value\r\n" : "step,samples\r\n"));
    }

    void Write(const Run_T& run) override
    {
        const Samples_T& samples = run.samples;
        if (samples.values.empty()) {
            return;
        }
        if (!m_IsBySample) {
            WriteBeginning(m_Buffer, run);
            m_Buffer.Append(samples.Step());
            m_Buffer.Append(',');
            m_Buffer.Append(samples.values, ' ');
            m_Buffer.Append(std::string_view("\r\n"));
            return;
        }
        std::uint64_t sample = 0;
        for (const std::int32_t value : samples.values) {
            WriteBeginning(m_Buffer, run);
            m_Buffer.Append(sample);
            m_Buffer.Append(',');
            m_Buffer.Append(value);
            m_Buffer.Append(std::string_view("\r\n"));
            sample += samples.Step();
        }
    }
    void Flush() override { m_Buffer.Flush(); }
    void End(const Summary_T&) override { m_Buffer.Flush(); }

private:
    CTextBuffer m_Buffer;
    bool m_IsBySample;
};

Bytes_T Bound(double bound) { return std::isinf(bound) ? Bytes_T() : NumberBytes(bound); }

/// One row for each measurement, and one for each limit.
class CMeasurementsWriter : public IRunWriter
{
public:
    explicit CMeasurementsWriter(QIODevice& output) : m_Buffer(output) {}

    void Begin() override
    {
        m_Buffer.Append(std::string_view(
            "transcript,line,command,result,measurement,value,unit,receiver law,fit,least,most,note\r\n"));
    }

    void Write(const Run_T& run) override
    {
        for (const Quantity_T& measured : run.measurements) {
            const MeasurementRow_T* const row = MeasurementOf(measured.name);
            const bool usesLaw = row != nullptr && row->usesLaw;
            WriteBeginning(m_Buffer, run);
            WriteFields({measured.name, NumberBytes(measured.value), measured.unit,
                         usesLaw ? run.receiverLaw : "", "", "", ""},
                        {});
        }
        for (const LimitResult_T& result : run.limits) {
            const Limit_T& limit = *result.limit;
            WriteBeginning(m_Buffer, run);
            WriteFields({limit.measurement, result.fit == Fit::Absent ? Bytes_T() : NumberBytes(result.value),
                         result.unit, "", NameOf(result.fit), Bound(limit.least), Bound(limit.most)},
                        limit.note);
        }
    }
    void Flush() override { m_Buffer.Flush(); }
    void End(const Summary_T&) override { m_Buffer.Flush(); }

private:
    /// The fields that no text of a file is in, and the end of the row.
    void WriteFields(std::initializer_list<Bytes_T> fields, const Bytes_T& note)
    {
        for (const Bytes_T& field : fields) {
            m_Buffer.Append(std::string_view(field));
            m_Buffer.Append(',');
        }
        if (!note.empty()) {
            m_Buffer.AppendQuoted(note, '"', '"');
        }
        m_Buffer.Append(std::string_view("\r\n"));
    }

    CTextBuffer m_Buffer;
};
} // namespace

std::unique_ptr<IRunWriter> MakeCsvWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CCsvWriter>(output, false);
}

std::unique_ptr<IRunWriter> MakeSamplesWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CCsvWriter>(output, true);
}

std::unique_ptr<IRunWriter> MakeMeasurementsWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CMeasurementsWriter>(output);
}
