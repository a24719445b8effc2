#include "station/output/Formats.h"

#include "station/judge/Limits.h"
#include "station/output/Text.h"

#include <QDateTime>

#include <algorithm>
#include <unordered_map>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{
constexpr std::string_view c_Package = "sonarbench";

/// The element for an outcome, and its type; empty for a good one. By Outcome.
struct Trouble_T {
    std::string_view element;
    std::string_view type;
};
constexpr std::array<Trouble_T, c_Outcomes> c_Troubles = {
    {{}, {}, {"failure", "failed"}, {"error", "not judged"}}};

const Trouble_T& TroubleOf(const Run_T& run) { return c_Troubles[static_cast<std::size_t>(run.outcome)]; }

/// As a name: printable, and without the blanks that a reader of XML may drop.
std::string Name(std::string_view bytes) { return PrintableText(bytes).simplified().toStdString(); }

/// The unit as part of a class. A dot would begin another package.
std::string ClassPartOf(const Run_T& run)
{
    std::string unit = Name(UnitOf(run));
    std::ranges::replace(unit, '.', '_');
    return unit.empty() ? "unknown unit" : unit;
}

/// JUnit XML: one suite with one test case for each run, so that a suite's counts are known when it begins. A
/// failed unit is a failure, a run that is not judged is an error. Servers compare cases by suite, class and
/// name, so none of these depends on where in a transcript a run is.
class CJunitWriter : public IRunWriter
{
public:
    explicit CJunitWriter(QIODevice& output)
        : m_Output(output), m_Now(QDateTime::currentDateTimeUtc().toString(Qt::ISODate).toStdString())
    {
    }

    void Begin() override { m_Output.write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"); }

    void Write(const Run_T& run) override
    {
        const Record_T& record = run.record;
        const std::string unit = ClassPartOf(run);
        const std::string host = Name(record.host);
        // The seconds of a run file with several runs are those of all.
        const bool isTimed = record.isThere && run.transcript != std::exchange(m_Transcript, run.transcript);
        const std::string seconds =
            QByteArray::number(isTimed ? record.seconds : 0, 'f', c_SecondsDecimals).toStdString();
        const auto count = [&run](std::string_view element) {
            return TroubleOf(run).element == element ? "1" : "0";
        };
        m_Text = "<testsuite";
        Attribute("package", c_Package);
        Attribute("id", std::to_string(m_Id++));
        Attribute("name", unit);
        // The schemas have no time zone.
        Attribute("timestamp", (record.start.empty() ? m_Now : record.start).substr(0, c_TimeLength));
        Attribute("hostname", host.empty() ? "localhost" : host);
        Attribute("tests", "1");
        Attribute("failures", count("failure"));
        Attribute("errors", count("error"));
        Attribute("time", seconds);
        m_Text += ">\n";
        WriteProperties(run);
        WriteCase(run, unit, seconds);
        m_Text += "</testsuite>\n";
        m_Output.write(m_Text.data(), static_cast<qint64>(m_Text.size()));
    }

    void End(const Summary_T&) override { m_Output.write("</testsuites>\n"); }

private:
    static constexpr int c_SecondsDecimals = 3;
    static constexpr std::size_t c_TimeLength = 19; ///< of 2026-11-22T10:41:28

    void Attribute(std::string_view name, std::string_view bytes)
    {
        m_Text.append(" ").append(name).append("=\"");
        AppendMarkup(m_Text, bytes);
        m_Text += '"';
    }

    void WriteProperty(std::string_view name, std::string_view value)
    {
        // The schemas require a value.
        if (!value.empty()) {
            m_Text += "<property";
            Attribute("name", name);
            Attribute("value", value);
            m_Text += "/>\n";
        }
    }

    void WriteProperties(const Run_T& run)
    {
        const std::pair<std::string_view, std::string_view> properties[] = {
            {"transcript", run.transcript},
            {"commandLine", run.commandLine},
            {"product", run.unit.product},
            {"serialNumber", run.unit.serialNumber},
            {"firmwareVersion", run.unit.firmwareVersion},
            {"station", run.record.station},
            {"operator", run.record.operatorName},
            {"receiverLaw", run.receiverLaw},
            {"verdict", run.verdict}};
        m_Text += "<properties>\n";
        for (const auto& [name, value] : properties) {
            WriteProperty(name, value);
        }
        WriteProperty("line", std::to_string(run.firstLine));
        for (const Quantity_T& measured : run.measurements) {
            std::string value = NumberBytes(measured.value);
            WriteProperty(measured.name, *measured.unit == 0 ? value : value + ' ' + measured.unit);
        }
        for (const LimitResult_T& result : run.limits) {
            WriteProperty("limit." + result.limit->measurement,
                          ::NameOf(result.fit) + std::string(": ") + LimitText(result));
        }
        m_Text += "</properties>\n";
    }

    /// Command and attempt, which counts from 1 for each unit and command. It is always there: without it, a
    /// command line could end like one.
    std::string CaseNameOf(const Run_T& run, const std::string& unit)
    {
        std::string name = Name(TestOf(run));
        name = name.empty() ? "(none)" : name;
        const std::uint32_t attempt = ++m_Attempts[std::hash<std::string>()(unit + '\n' + name)];
        return name + ", attempt " + std::to_string(attempt);
    }

    void WriteCase(const Run_T& run, const std::string& unit, const std::string& seconds)
    {
        m_Text += "<testcase";
        Attribute("name", CaseNameOf(run, unit));
        Attribute("classname", std::string(c_Package) + '.' + unit);
        Attribute("time", seconds);
        m_Text += ">\n";
        if (const Trouble_T& trouble = TroubleOf(run); !trouble.element.empty()) {
            m_Text.append("<").append(trouble.element);
            Attribute("message", run.reason);
            Attribute("type", trouble.type);
            m_Text += '>';
            // One server shows only the text, the other both.
            WriteLine(run.reason);
            for (const LimitResult_T& result : run.limits) {
                if (result.fit == Fit::Bad || result.fit == Fit::Absent) {
                    WriteLine(::NameOf(result.fit) + std::string(": ") + LimitText(result));
                }
            }
            for (const Line_T& line : run.unrecognised) {
                WriteLine(std::to_string(line.number) + ": unrecognised: " + line.text);
            }
            m_Text.append("</").append(trouble.element).append(">\n");
        }
        WriteMessages(run, "system-out", false);
        WriteMessages(run, "system-err", true);
        m_Text += "</testcase>\n";
    }

    void WriteMessages(const Run_T& run, std::string_view element, bool isStandardError)
    {
        m_Text.append("<").append(element).append(">");
        for (const Message_T& message : run.messages) {
            if ((message.place == Place::Aside) == isStandardError) {
                WriteLine(message.line.text);
            }
        }
        m_Text.append("</").append(element).append(">\n");
    }

    void WriteLine(std::string_view bytes)
    {
        AppendMarkup(m_Text, bytes);
        m_Text += '\n';
    }

    QIODevice& m_Output;
    std::string m_Now; ///< for a transcript, which has no time
    int m_Id = 0;
    Bytes_T m_Transcript; ///< of the run before
    std::string m_Text;
    std::unordered_map<std::size_t, std::uint32_t> m_Attempts; ///< by unit and command
};
} // namespace

std::unique_ptr<IRunWriter> MakeJunitWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CJunitWriter>(output);
}
