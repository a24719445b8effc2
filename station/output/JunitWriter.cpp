#include "station/output/Formats.h"

#include "station/judge/Limits.h"
#include "station/output/Text.h"

#include <QDateTime>
#include <QString>
#include <QXmlStreamWriter>

#include <filesystem>

using namespace Qt::StringLiterals;

namespace
{
constexpr auto c_Package = "sonarbench"_L1;

/// The element for an outcome, and its type; empty for a good one. By Outcome.
struct Trouble_T {
    QLatin1StringView element;
    QLatin1StringView type;
};
constexpr std::array<Trouble_T, c_Outcomes> c_Troubles = {
    {{}, {}, {"failure"_L1, "failed"_L1}, {"error"_L1, "not judged"_L1}}};

const Trouble_T& TroubleOf(const Run_T& run) { return c_Troubles[static_cast<std::size_t>(run.outcome)]; }

/// Distinguishes the cases of one command, by unit if transcripts are named after units.
QString ClassOf(const Run_T& run)
{
    const std::string stem = std::filesystem::path(run.transcript).stem();
    return c_Package + (run.transcript == c_StandardStream ? QString() : u'.' + PrintableText(stem));
}

QString NameOf(const Run_T& run) { return PrintableText(run.command.empty() ? "(none)" : run.command); }

/// JUnit XML: one suite with one test case for each run, so that a suite's counts are known when it begins. A
/// failed unit is a failure, a run that is not judged is an error.
class CJunitWriter : public IRunWriter
{
public:
    explicit CJunitWriter(QIODevice& output)
        : m_Xml(&output), m_Time(QDateTime::currentDateTime().toString(u"yyyy-MM-ddTHH:mm:ss"_s))
    {
        m_Xml.setAutoFormatting(true);
    }

    void Begin() override
    {
        m_Xml.writeStartDocument();
        m_Xml.writeStartElement("testsuites"_L1);
    }

    void Write(const Run_T& run) override
    {
        const auto count = [&run](QLatin1StringView element) {
            return QString::number(TroubleOf(run).element == element ? 1 : 0);
        };
        m_Xml.writeStartElement("testsuite"_L1);
        m_Xml.writeAttribute("package"_L1, c_Package);
        m_Xml.writeAttribute("id"_L1, QString::number(m_Id++));
        m_Xml.writeAttribute("name"_L1, TitleOf(run));
        m_Xml.writeAttribute("timestamp"_L1, m_Time);
        m_Xml.writeAttribute("hostname"_L1, "localhost"_L1);
        m_Xml.writeAttribute("tests"_L1, u"1"_s);
        m_Xml.writeAttribute("failures"_L1, count("failure"_L1));
        m_Xml.writeAttribute("errors"_L1, count("error"_L1));
        m_Xml.writeAttribute("time"_L1, u"0"_s);
        WriteProperties(run);
        WriteCase(run);
        m_Xml.writeStartElement("system-out"_L1);
        WriteMessages(run, false);
        m_Xml.writeEndElement();
        m_Xml.writeStartElement("system-err"_L1);
        WriteMessages(run, true);
        m_Xml.writeEndElement();
        m_Xml.writeEndElement();
    }

    void End(const Summary_T&) override { m_Xml.writeEndDocument(); }

private:
    void WriteProperties(const Run_T& run)
    {
        const std::pair<QLatin1StringView, Bytes_T> properties[] = {
            {"commandLine"_L1, run.commandLine},        {"product"_L1, run.unit.product},
            {"serialNumber"_L1, run.unit.serialNumber}, {"firmwareVersion"_L1, run.unit.firmwareVersion},
            {"receiverLaw"_L1, run.receiverLaw},        {"verdict"_L1, run.verdict}};
        m_Xml.writeStartElement("properties"_L1);
        for (const auto& [name, value] : properties) {
            // JUnit requires a value.
            if (!value.empty()) {
                WriteProperty(name, PrintableText(value));
            }
        }
        for (const Quantity_T& measured : run.measurements) {
            WriteProperty(QLatin1StringView(measured.name),
                          (NumberText(measured.value) + u' ' + QLatin1StringView(measured.unit)).trimmed());
        }
        for (const LimitResult_T& result : run.limits) {
            WriteProperty(u"limit."_s + PrintableText(result.limit->measurement),
                          QLatin1StringView(::NameOf(result.fit)) + u": "_s +
                              PrintableText(LimitText(result)));
        }
        m_Xml.writeEndElement();
    }

    void WriteProperty(const QString& name, const QString& value)
    {
        m_Xml.writeEmptyElement("property"_L1);
        m_Xml.writeAttribute("name"_L1, name);
        m_Xml.writeAttribute("value"_L1, value);
    }

    void WriteCase(const Run_T& run)
    {
        m_Xml.writeStartElement("testcase"_L1);
        m_Xml.writeAttribute("name"_L1, NameOf(run));
        m_Xml.writeAttribute("classname"_L1, ClassOf(run));
        m_Xml.writeAttribute("time"_L1, u"0"_s);
        if (const Trouble_T& trouble = TroubleOf(run); !trouble.element.isEmpty()) {
            m_Xml.writeStartElement(trouble.element);
            m_Xml.writeAttribute("message"_L1, PrintableText(run.reason));
            m_Xml.writeAttribute("type"_L1, trouble.type);
            for (const LimitResult_T& result : run.limits) {
                if (result.fit == Fit::Bad || result.fit == Fit::Absent) {
                    m_Xml.writeCharacters(QLatin1StringView(::NameOf(result.fit)) + u": "_s +
                                          PrintableText(LimitText(result)) + u'\n');
                }
            }
            for (const Line_T& line : run.unrecognised) {
                m_Xml.writeCharacters(u"%1: unrecognised: "_s.arg(line.number) + PrintableText(line.text) +
                                      u'\n');
            }
            m_Xml.writeEndElement();
        }
        m_Xml.writeEndElement();
    }

    void WriteMessages(const Run_T& run, bool isStandardError)
    {
        for (const Message_T& message : run.messages) {
            if ((message.place == Place::Aside) == isStandardError) {
                m_Xml.writeCharacters(PrintableText(message.line.text) + u'\n');
            }
        }
    }

    QXmlStreamWriter m_Xml;
    QString m_Time; ///< when it was read: the program prints no time
    int m_Id = 0;
};
} // namespace

std::unique_ptr<IRunWriter> MakeJunitWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CJunitWriter>(output);
}
