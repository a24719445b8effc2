#include "station/judge/Limits.h"

#include "station/judge/Measurements.h"
#include "tools/CommandLine.h"
#include "tools/JsonFile.h"
#include "tools/Program.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{
constexpr int c_LimitsMajorVersion = 1;
constexpr int c_LimitsMinorVersion = 0;
constexpr int c_MostVersion = 1000;
constexpr std::size_t c_LongestMember = 500;

/// A text of a rule, and where it goes.
struct Text_T {
    const char* key;
    Bytes_T Limit_T::*field;
    bool isGlob;
};
constexpr Text_T c_TextMembers[] = {
    {"product", &Limit_T::product, true},          {"command", &Limit_T::command, true},
    {"channel", &Limit_T::channel, true},          {"setting", &Limit_T::setting, true},
    {"measurement", &Limit_T::measurement, false}, {"note", &Limit_T::note, false}};

struct Number_T {
    const char* key;
    double Limit_T::*field;
};
constexpr Number_T c_Numbers[] = {
    {"least", &Limit_T::least}, {"most", &Limit_T::most}, {"margin", &Limit_T::margin}};

constexpr char c_Repeated[] = "repeated";

const CJsonValue* Member(const CJsonValue& object, std::string_view key)
{
    const auto& members = object.Members();
    const auto found = std::ranges::find(members, key, &CJsonValue::Key);
    return found == members.end() ? nullptr : &*found;
}

const CJsonValue& Needed(const CJsonValue& object, const std::string& key)
{
    const CJsonValue* const pMember = Member(object, key);
    if (pMember == nullptr) {
        object.Refuse("has no key " + key);
    }
    return *pMember;
}

void RefuseOthers(const CJsonValue& object, const std::vector<std::string>& keys)
{
    for (const CJsonValue& member : object.Members()) {
        if (std::ranges::find(keys, member.Key()) == keys.end()) {
            member.Refuse("unknown key" + DidYouMean(member.Key(), keys));
        }
    }
}

template <class Table, class ToName>
std::vector<std::string> Names(const Table& table, ToName toName)
{
    std::vector<std::string> names;
    std::ranges::transform(table, std::back_inserter(names), toName);
    return names;
}

std::vector<std::int32_t> ReadEdge(const CJsonValue& list)
{
    std::vector<std::int32_t> edge;
    for (const CJsonValue& element : list.Elements()) {
        constexpr double c_Lowest = -99;
        constexpr double c_Highest = 65535;
        edge.push_back(static_cast<std::int32_t>(element.Number(c_Lowest, c_Highest, true)));
    }
    return edge;
}

void ReadEnvelope(const CJsonValue& envelope, Limit_T& limit)
{
    RefuseOthers(envelope, {"samples", "low", "high", "outside"});
    const CJsonValue& high = Needed(envelope, "high");
    limit.measurement = c_OutsideBand;
    limit.band.samples = static_cast<std::size_t>(Needed(envelope, "samples").Number(1, c_MostSamples, true));
    limit.band.low = ReadEdge(Needed(envelope, "low"));
    limit.band.high = ReadEdge(high);
    limit.most = Needed(envelope, "outside").Number(0, 1);
    const std::size_t columns = limit.band.high.size();
    if (columns != limit.band.low.size() || columns == 0 || columns > limit.band.samples) {
        high.Refuse("does not have as many columns as low, or is empty, or has more than there are samples");
    }
    for (std::size_t i = 0; i < columns; ++i) {
        if (limit.band.low[i] > limit.band.high[i]) {
            high.Elements()[i].Refuse("is below low");
        }
    }
}

void ReadRange(const CJsonValue& rule, const MeasurementRow_T& row, Limit_T& limit)
{
    for (const Number_T& number : c_Numbers) {
        const CJsonValue* const pMember = Member(rule, number.key);
        if (pMember != nullptr) {
            const bool isMargin = number.field == &Limit_T::margin;
            limit.*number.field = pMember->Number(isMargin ? 0 : row.least, isMargin ? c_Any : row.most);
        }
    }
    if (std::isinf(limit.least) && std::isinf(limit.most)) {
        rule.Refuse("has neither least nor most");
    }
    if (limit.least > limit.most) {
        Needed(rule, "least").Refuse("is above most");
    }
    if (limit.margin > limit.most - limit.least) {
        Needed(rule, "margin").Refuse("is larger than the range from least to most");
    }
}

/// Refuses a rule that is for no run: of a command or channel that there is not, or of a measurement that
/// its command does not have.
void RefuseVain(const CJsonValue& rule, const Limit_T& limit)
{
    const auto named = [&](const CommandText_T& row) { return MatchesGlob(limit.command, row.command); };
    const auto measured = [&](const CommandText_T& row) {
        return named(row) && CanMeasure(row, limit.measurement);
    };
    const auto pings = [&](const CommandText_T& row) {
        return measured(row) && (row.required & Evidence::c_Samples) != 0;
    };
    const auto isNone = [](auto condition) { return std::ranges::none_of(CommandTexts(), condition); };
    if (isNone(named)) {
        Needed(rule, "command")
            .Refuse("there is no such command" + DidYouMean(limit.command, CommandNames()));
    }
    if (isNone(measured)) {
        Needed(rule, "command").Refuse("the command does not have the measurement " + limit.measurement);
    }
    const bool hasChannel = MatchesGlob(limit.channel, "0") || MatchesGlob(limit.channel, "1");
    if (!MatchesGlob(limit.channel, {}) && (!hasChannel || isNone(pings))) {
        Needed(rule, "channel").Refuse(hasChannel ? "the command has no channels" : "channels are 0 and 1");
    }
}

Limit_T ReadRule(const CJsonValue& rule)
{
    std::vector<std::string> keys = Names(c_TextMembers, [](const Text_T& row) { return row.key; });
    const bool isEnvelope = Member(rule, "envelope") != nullptr;
    std::ranges::transform(c_Numbers, std::back_inserter(keys), &Number_T::key);
    keys.insert(keys.end(), {"envelope", c_Repeated});
    RefuseOthers(rule, keys);
    Limit_T limit;
    for (const Text_T& text : c_TextMembers) {
        const CJsonValue* const pMember = Member(rule, text.key);
        if (pMember != nullptr) {
            limit.*text.field = pMember->Text(c_LongestMember);
        }
        if (pMember != nullptr && text.isGlob && (limit.*text.field).empty()) {
            pMember->Refuse("is empty; * is for any");
        }
    }
    const CJsonValue* const pRepeated = Member(rule, c_Repeated);
    limit.isRepeated = pRepeated != nullptr && pRepeated->IsTrue();
    if (isEnvelope) {
        for (const char* const key : {"measurement", "least", "most", "margin"}) {
            if (const CJsonValue* const pMember = Member(rule, key)) {
                pMember->Refuse("an envelope has no such key");
            }
        }
        ReadEnvelope(Needed(rule, "envelope"), limit);
    } else {
        const CJsonValue& name = Needed(rule, "measurement");
        const MeasurementRow_T* const row = MeasurementOf(limit.measurement);
        if (row == nullptr) {
            name.Refuse("there is no such measurement" +
                        DidYouMean(limit.measurement, Names(MeasurementRows(), &MeasurementRow_T::name)));
        }
        ReadRange(rule, *row, limit);
    }
    RefuseVain(rule, limit);
    return limit;
}

std::vector<Limit_T> LimitsOf(const CJsonValue& json)
{
    const CJsonValue& version = Needed(json, "schemaVersion");
    RefuseOthers(version, {"major", "minor"});
    Needed(version, "major").Number(c_LimitsMajorVersion, c_LimitsMajorVersion, true);
    Needed(version, "minor").Number(0, c_MostVersion, true);
    RefuseOthers(json, {"schemaVersion", "note", "rules"});
    if (const CJsonValue* const pNote = Member(json, "note")) {
        pNote->Text(c_LongestMember);
    }
    const CJsonValue& rules = Needed(json, "rules");
    if (rules.Elements().empty()) {
        rules.Refuse("is empty");
    }
    std::vector<Limit_T> limits;
    std::ranges::transform(rules.Elements(), std::back_inserter(limits), ReadRule);
    return limits;
}

QJsonObject RuleObject(const Limit_T& limit)
{
    const Limit_T usual;
    const bool isEnvelope = !limit.band.high.empty();
    QJsonObject object;
    for (const Text_T& text : c_TextMembers) {
        const bool isImplied = isEnvelope && text.field == &Limit_T::measurement;
        if (limit.*text.field != usual.*text.field && !isImplied) {
            object.insert(QLatin1StringView(text.key), QString::fromStdString(limit.*text.field));
        }
    }
    if (limit.isRepeated) {
        object.insert(QLatin1StringView(c_Repeated), true);
    }
    if (isEnvelope) {
        const auto list = [](const std::vector<std::int32_t>& edge) {
            QJsonArray array;
            std::ranges::copy(edge, std::back_inserter(array));
            return array;
        };
        object.insert("envelope"_L1, QJsonObject{{u"samples"_s, static_cast<qint64>(limit.band.samples)},
                                                 {u"low"_s, list(limit.band.low)},
                                                 {u"high"_s, list(limit.band.high)},
                                                 {u"outside"_s, limit.most}});
        return object;
    }
    for (const Number_T& number : c_Numbers) {
        if (limit.*number.field != usual.*number.field) {
            object.insert(QLatin1StringView(number.key), limit.*number.field);
        }
    }
    return object;
}
} // namespace

std::vector<Limit_T> ReadLimits(const std::string& file) { return LimitsOf(CJsonValue::ReadFile(file)); }

std::vector<Limit_T> ParseLimits(const std::string& file, const QByteArray& json)
{
    return LimitsOf(CJsonValue::Parse(file, json));
}

QByteArray LimitsText(std::span<const Limit_T> limits, const Bytes_T& note)
{
    const auto compact = [](const QJsonObject& object) {
        return QJsonDocument(object).toJson(QJsonDocument::Compact);
    };
    QByteArray text = compact({{u"schemaVersion"_s, QJsonObject{{u"major"_s, c_LimitsMajorVersion},
                                                                {u"minor"_s, c_LimitsMinorVersion}}},
                               {u"note"_s, QString::fromStdString(note)}});
    text.chop(1);
    text += ",\"rules\":[";
    for (const Limit_T& limit : limits) {
        text += (&limit == limits.data() ? "\n" : ",\n") + compact(RuleObject(limit));
    }
    return text + "\n]}\n";
}
