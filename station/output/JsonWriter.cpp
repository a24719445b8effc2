#include "station/output/Formats.h"

#include "station/judge/Limits.h"
#include "station/output/Text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

using namespace Qt::StringLiterals;

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

constexpr std::array<const char*, 3> c_Origins = {"OUTPUT", "REPORT", "STANDARD_ERROR"}; // by Place

qint64 Count(std::uint64_t number) { return static_cast<qint64>(number); }

void Insert(QJsonObject& object, QLatin1StringView name, const Bytes_T& text)
{
    if (!text.empty()) {
        object.insert(name, PrintableText(text));
    }
}

template <class List, class ToValue>
QJsonArray Array(const List& list, ToValue toValue)
{
    QJsonArray array;
    for (const auto& element : list) {
        array.append(toValue(element));
    }
    return array;
}

QJsonObject QuantityObject(const Quantity_T& value)
{
    QJsonObject object{{u"name"_s, QLatin1StringView(value.name)}, {u"value"_s, value.value}};
    Insert(object, "unit"_L1, value.unit);
    return object;
}

QJsonObject LimitObject(const LimitResult_T& result)
{
    const Limit_T& limit = *result.limit;
    QJsonObject object{{u"name"_s, QString::fromStdString(limit.measurement)},
                       {u"fit"_s, QString::fromLatin1(NameOf(result.fit)).toUpper()}};
    if (result.fit != Fit::Absent) {
        object.insert("value"_L1, result.value);
    }
    for (const auto& [name, bound] : {std::pair("least"_L1, limit.least), std::pair("most"_L1, limit.most)}) {
        if (std::isfinite(bound)) {
            object.insert(name, bound);
        }
    }
    if (limit.margin > 0) {
        object.insert("margin"_L1, limit.margin);
    }
    Insert(object, "unit"_L1, result.unit);
    Insert(object, "note"_L1, limit.note);
    return object;
}

QJsonObject LineObject(const Line_T& line)
{
    return {{u"line"_s, Count(line.number)}, {u"text"_s, PrintableText(line.text)}};
}

QJsonObject MessageObject(const Message_T& message)
{
    QJsonObject object = LineObject(message.line);
    object.insert("origin"_L1, QLatin1StringView(c_Origins[static_cast<std::size_t>(message.place)]));
    object.insert("severity"_L1, message.isError ? "ERROR"_L1 : "INFO"_L1);
    return object;
}

QJsonObject TestObject(const Run_T& run)
{
    QJsonObject object{{u"commandLine"_s, PrintableText(run.commandLine)},
                       {u"arguments"_s, Array(run.arguments, PrintableText)}};
    Insert(object, "program"_L1, run.program);
    Insert(object, "command"_L1, run.command);
    return object;
}

QJsonObject UnitObject(const Unit_T& unit)
{
    QJsonObject object;
    Insert(object, "product"_L1, unit.product);
    Insert(object, "serialNumber"_L1, unit.serialNumber);
    Insert(object, "applicationVersion"_L1, unit.applicationVersion);
    Insert(object, "platformVersion"_L1, unit.platformVersion);
    Insert(object, "firmwareImage"_L1, unit.firmwareImage);
    Insert(object, "firmwareVersion"_L1, unit.firmwareVersion);
    return object;
}

QJsonObject SamplesObject(const Samples_T& samples)
{
    QJsonObject object{{u"form"_s, samples.isThreeDigit ? "THREE_DIGITS"_L1 : "DECIMAL"_L1},
                       {u"taken"_s, Count(samples.taken)},
                       {u"step"_s, Count(samples.Step())},
                       {u"values"_s, Array(samples.values, [](std::int32_t value) { return value; })}};
    Insert(object, "band"_L1, samples.band);
    for (const auto& [name, number] :
         {std::pair("element"_L1, samples.element), std::pair("channel"_L1, samples.channel)}) {
        if (number >= 0) {
            object.insert(name, number);
        }
    }
    if (!samples.band.empty()) {
        object.insert("centreFrequency"_L1,
                      QJsonObject{{u"value"_s, samples.centreHertz}, {u"unit"_s, u"Hz"_s}});
    }
    return object;
}

QJsonObject RecordObject(const Record_T& record)
{
    QJsonObject object{{u"serialNumberVerified"_s, record.isVerified}};
    Insert(object, "unit"_L1, record.unit);
    Insert(object, "product"_L1, record.product);
    Insert(object, "station"_L1, record.station);
    Insert(object, "operator"_L1, record.operatorName);
    Insert(object, "host"_L1, record.host);
    Insert(object, "command"_L1, record.command);
    Insert(object, "start"_L1, record.start);
    if (record.status >= 0) {
        object.insert("seconds"_L1, record.seconds);
        object.insert("exitStatus"_L1, record.status);
    }
    return object;
}

/// One JSON object on one line for each run, as station/report.schema.json describes it.
class CJsonWriter : public IRunWriter
{
public:
    explicit CJsonWriter(QIODevice& output) : m_Output(output) {}

    void Write(const Run_T& run) override
    {
        const Ending_T& ending = c_Endings[static_cast<std::size_t>(run.outcome)];
        QJsonObject object{
            {u"schemaVersion"_s, QJsonObject{{u"major"_s, c_MajorVersion}, {u"minor"_s, c_MinorVersion}}},
            {u"transcript"_s, PrintableText(run.transcript)},
            {u"firstLine"_s, Count(run.firstLine)},
            {u"lastLine"_s, Count(run.lastLine)},
            {u"test"_s, TestObject(run)},
            {u"dutInfo"_s, UnitObject(run.unit)},
            {u"status"_s, QLatin1StringView(ending.status)},
            {u"result"_s, QLatin1StringView(ending.result)},
            {u"parameters"_s, Array(run.parameters, QuantityObject)},
            {u"measurements"_s, Array(run.measurements, QuantityObject)},
            {u"messages"_s, Array(run.messages, MessageObject)},
            {u"messageCount"_s, Count(run.messageCount)},
            {u"claimedLines"_s, Count(run.claimedCount)},
            {u"unrecognisedLines"_s, Count(run.unrecognisedCount)},
            {u"unrecognised"_s, Array(run.unrecognised, LineObject)},
        };
        if (!run.limits.empty()) {
            object.insert("limits"_L1, Array(run.limits, LimitObject));
        }
        Insert(object, "receiverLaw"_L1, run.receiverLaw);
        Insert(object, "verdict"_L1, run.verdict);
        Insert(object, "reason"_L1, run.reason);
        if (run.samples.isPrinted) {
            object.insert("samples"_L1, SamplesObject(run.samples));
        }
        if (run.record.isThere) {
            object.insert("runFile"_L1, RecordObject(run.record));
        }
        m_Output.write(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
    }

private:
    QIODevice& m_Output;
};
} // namespace

std::unique_ptr<IRunWriter> MakeJsonWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CJsonWriter>(output);
}
