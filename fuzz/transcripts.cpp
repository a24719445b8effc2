// Transcripts of arbitrary bytes for sonarbench-station, written in every format.

#include "station/Transcripts.h"
#include "fuzz/FuzzInput.h"
#include "station/output/Formats.h"

#include <QBuffer>
#include <QJsonDocument>
#include <QXmlStreamReader>

namespace
{
/// Writes each run in every format, and counts its lines.
class CEveryFormat : public IRunWriter
{
public:
    CEveryFormat()
    {
        for (std::size_t i = 0; i < Formats().size(); ++i) {
            m_Outputs[i].open(QIODevice::WriteOnly);
            m_Writers.push_back(Formats()[i].make(m_Outputs[i], View_T{.sampleClock = 16906.25}));
            m_Writers.back()->Begin();
        }
    }
    void Write(const Run_T& run) override
    {
        m_Summary.Add(run);
        for (const auto& writer : m_Writers) {
            writer->Write(run);
        }
    }
    void Check(std::size_t lines)
    {
        Require(m_Summary.claimed + m_Summary.unrecognised == lines,
                "each line is known to a rule, or counted");
        for (const auto& writer : m_Writers) {
            writer->End(m_Summary);
        }
        for (const QByteArray& json : OutputOf("json").split('\n')) {
            Require(json.isEmpty() || !QJsonDocument::fromJson(json).isNull(), "a line of JSON is an object");
        }
        QXmlStreamReader xml(OutputOf("junit"));
        while (!xml.atEnd()) {
            xml.readNext();
        }
        Require(!xml.hasError(), "JUnit is well-formed XML");
    }

private:
    const QByteArray& OutputOf(std::string_view format) const
    {
        const auto found = std::ranges::find(Formats(), format, &Format_T::option);
        return m_Outputs[static_cast<std::size_t>(found - Formats().begin())].data();
    }

    std::array<QBuffer, 16> m_Outputs;
    std::vector<std::unique_ptr<IRunWriter>> m_Writers;
    Summary_T m_Summary;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(size));
    CTextSource bytes({text.data(), size});
    CEveryFormat formats;
    CMeasurer measurer({.sampleClock = 48000});
    ReadTranscript("t", bytes, formats, {.pMeasurer = &measurer});
    const bool hasOpenLine = !text.isEmpty() && !text.endsWith('\n');
    formats.Check(static_cast<std::size_t>(text.count('\n')) + (hasOpenLine ? 1 : 0));
    return 0;
}
