#pragma once

#include "fuzz/FuzzInput.h"
#include "station/output/Formats.h"

#include <QBuffer>
#include <QJsonDocument>
#include <QXmlStreamReader>

/// Writes each run in every format.
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
    const Summary_T& Summary() const { return m_Summary; }
    /// Ends the outputs, and requires those that have a format of others to follow it.
    void Check()
    {
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
