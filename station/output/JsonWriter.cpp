#include "station/output/Formats.h"

#include "station/judge/Limits.h"
#include "station/output/TextBuffer.h"

#include <array>
#include <cmath>

namespace
{
constexpr int c_MajorVersion = 1;
constexpr int c_MinorVersion = 1;

/// How the run ended, and what it says about the unit; by Outcome.
struct Ending_T {
    const char* status;
    const char* result;
};
constexpr std::array<Ending_T, c_Outcomes> c_Endings = {{{"COMPLETE", "PASS"},
                                                         {"COMPLETE", "NOT_APPLICABLE"},
                                                         {"COMPLETE", "FAIL"},
                                                         {"ERROR", "NOT_APPLICABLE"}}};

constexpr std::array<const char*, 4> c_Fits = {"GOOD", "MARGINAL", "BAD", "ABSENT"};     // by Fit
constexpr std::array<const char*, 3> c_Origins = {"OUTPUT", "REPORT", "STANDARD_ERROR"}; // by Place

template <class Elements, class Writer>
void WriteList(CJsonText& json, std::string_view name, const Elements& list, Writer write)
{
    json.Name(name).Begin('[');
    for (const auto& element : list) {
        write(json, element);
    }
    json.End(']');
}

void WriteText(CJsonText& json, std::string_view text) { json.Value(text); }

/// The unit of a value, unless it is a plain number.
void WriteUnitOf(CJsonText& json, std::string_view unit)
{
    if (!unit.empty()) {
        json.Name("unit").Constant(unit);
    }
}

void WriteQuantity(CJsonText& json, const Quantity_T& value)
{
    json.Begin('{');
    json.Name("name").Constant(value.name);
    json.Name("value").Value(value.value);
    WriteUnitOf(json, value.unit);
    json.End('}');
}

void WriteLimit(CJsonText& json, const LimitResult_T& result)
{
    const Limit_T& limit = *result.limit;
    json.Begin('{');
    json.Name("name").Constant(limit.measurement);
    json.Name("fit").Constant(c_Fits[static_cast<std::size_t>(result.fit)]);
    if (result.fit != Fit::Absent) {
        json.Name("value").Value(result.value);
    }
    for (const auto& [name, bound] : {std::pair("least", limit.least), std::pair("most", limit.most)}) {
        if (std::isfinite(bound)) {
            json.Name(name).Value(bound);
        }
    }
    if (limit.margin > 0) {
        json.Name("margin").Value(limit.margin);
    }
    WriteUnitOf(json, result.unit);
    json.Optional("note", limit.note);
    json.End('}');
}

void WriteLineMembers(CJsonText& json, const Line_T& line)
{
    json.Name("line").Value(line.number);
    json.Name("text").Value(line.text);
}

void WriteLine(CJsonText& json, const Line_T& line)
{
    json.Begin('{');
    WriteLineMembers(json, line);
    json.End('}');
}

void WriteMessage(CJsonText& json, const Message_T& message)
{
    json.Begin('{');
    WriteLineMembers(json, message.line);
    json.Name("origin").Constant(c_Origins[static_cast<std::size_t>(message.place)]);
    json.Name("severity").Value(std::string_view(message.isError ? "ERROR" : "INFO"));
    json.End('}');
}

void WriteTest(CJsonText& json, const Run_T& run)
{
    json.Name("test").Begin('{');
    json.Name("commandLine").Value(run.commandLine);
    WriteList(json, "arguments", run.arguments, WriteText);
    json.Optional("program", run.program);
    json.Optional("command", run.command);
    json.End('}');
}

void WriteUnit(CJsonText& json, const Unit_T& unit)
{
    json.Name("dutInfo").Begin('{');
    json.Optional("product", unit.product);
    json.Optional("serialNumber", unit.serialNumber);
    json.Optional("applicationVersion", unit.applicationVersion);
    json.Optional("platformVersion", unit.platformVersion);
    json.Optional("firmwareImage", unit.firmwareImage);
    json.Optional("firmwareVersion", unit.firmwareVersion);
    json.End('}');
}

void WriteSamples(CJsonText& json, const Samples_T& samples)
{
    json.Name("samples").Begin('{');
    json.Name("form").Value(std::string_view(samples.isThreeDigit ? "THREE_DIGITS" : "DECIMAL"));
    json.Name("taken").Value(samples.taken);
    json.Name("step").Value(samples.Step());
    json.Name("values").Value(std::span(samples.values));
    json.Optional("band", samples.band);
    for (const auto& [name, number] :
         {std::pair("element", samples.element), std::pair("channel", samples.channel)}) {
        if (number >= 0) {
            json.Name(name).Value(number);
        }
    }
    if (!samples.band.empty()) {
        json.Name("centreFrequency").Begin('{');
        json.Name("value").Value(samples.centreHertz);
        json.Name("unit").Constant("Hz");
        json.End('}');
    }
    json.End('}');
}

void WriteRecord(CJsonText& json, const Record_T& record)
{
    json.Name("runFile").Begin('{');
    json.Name("serialNumberVerified").Value(record.isVerified);
    json.Optional("unit", record.unit);
    json.Optional("product", record.product);
    json.Optional("station", record.station);
    json.Optional("operator", record.operatorName);
    json.Optional("host", record.host);
    json.Optional("command", record.command);
    json.Optional("start", record.start);
    if (record.status >= 0) {
        json.Name("seconds").Value(record.seconds);
        json.Name("exitStatus").Value(record.status);
    }
    json.End('}');
}

/// One JSON object on one line for each run, as station/report.schema.json describes it.
class CJsonWriter : public IRunWriter
{
public:
    explicit CJsonWriter(QIODevice& output) : m_Buffer(output) {}

    void Write(const Run_T& run) override
    {
        const Ending_T& ending = c_Endings[static_cast<std::size_t>(run.outcome)];
        CJsonText json(m_Buffer);
        json.Begin('{');
        json.Name("schemaVersion").Begin('{');
        json.Name("major").Value(c_MajorVersion);
        json.Name("minor").Value(c_MinorVersion);
        json.End('}');
        json.Name("transcript").Value(run.transcript);
        json.Name("firstLine").Value(run.firstLine);
        json.Name("lastLine").Value(run.lastLine);
        WriteTest(json, run);
        WriteUnit(json, run.unit);
        json.Name("status").Value(std::string_view(ending.status));
        json.Name("result").Value(std::string_view(ending.result));
        json.Optional("receiverLaw", run.receiverLaw);
        json.Optional("verdict", run.verdict);
        json.Optional("reason", run.reason);
        WriteList(json, "parameters", run.parameters, WriteQuantity);
        WriteList(json, "measurements", run.measurements, WriteQuantity);
        if (!run.limits.empty()) {
            WriteList(json, "limits", run.limits, WriteLimit);
        }
        if (run.samples.isPrinted) {
            WriteSamples(json, run.samples);
        }
        WriteList(json, "messages", run.messages, WriteMessage);
        json.Name("messageCount").Value(run.messageCount);
        json.Name("claimedLines").Value(run.claimedCount);
        json.Name("unrecognisedLines").Value(run.unrecognisedCount);
        WriteList(json, "unrecognised", run.unrecognised, WriteLine);
        if (run.record.isThere) {
            WriteRecord(json, run.record);
        }
        json.End('}');
        m_Buffer.Append('\n');
    }
    void Flush() override { m_Buffer.Flush(); }
    void End(const Summary_T&) override { m_Buffer.Flush(); }

private:
    CTextBuffer m_Buffer;
};
} // namespace

std::unique_ptr<IRunWriter> MakeJsonWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CJsonWriter>(output);
}
