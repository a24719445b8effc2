#include "station/results/Yield.h"

#include "station/transcript/PrintableText.h"

#include <algorithm>
#include <array>
#include <map>

using namespace Qt::StringLiterals;

namespace
{
constexpr std::array<GroupKind_T, 4> c_GroupKinds = {
    {{"product", [](const CDatabase&) { return u"coalesce(runs.product, '')"_s; }},
     {"station", [](const CDatabase&) { return u"stations.name"_s; }},
     {"day",
      [](const CDatabase& database) {
          return u"substr(%1, 1, 10)"_s.arg(database.TimeText(u"runs.start"_s));
      }},
     {"operator", [](const CDatabase&) { return u"coalesce(runs.operator, '')"_s; }}}};

const QString c_Tables = u" FROM attempts JOIN runs ON runs.id = attempts.run_id"
                         " JOIN units ON units.id = runs.unit_id"
                         " JOIN stations ON stations.id = runs.station_id"_s;

/// Numbers the judged attempts of each unit and test from the first and from the last, whatever runs are
/// chosen, so that a retest is not taken for a first attempt. Then makes a row for each unit.
const QString c_Yield = uR"(WITH judged AS (
  SELECT runs.unit_id AS unit, attempts.outcome AS outcome, %1 AS entry, CASE WHEN 1 = 1%2 THEN 1 ELSE 0 END AS chosen,
    ROW_NUMBER() OVER (PARTITION BY runs.unit_id ORDER BY %3) AS place,
    ROW_NUMBER() OVER (PARTITION BY runs.unit_id, attempts.command, attempts.setting ORDER BY %3) AS from_first,
    ROW_NUMBER() OVER (PARTITION BY runs.unit_id, attempts.command, attempts.setting ORDER BY %4) AS from_last,
    ROW_NUMBER() OVER (PARTITION BY attempts.run_id, attempts.command, attempts.setting ORDER BY attempts.number)
      AS in_run%5
  WHERE attempts.outcome <> 'not judged'%6
), tested AS (
  SELECT MAX(CASE WHEN place = 1 THEN entry END) AS entry, MAX(CASE WHEN place = 1 THEN chosen ELSE 0 END) AS chosen,
    COUNT(*) AS attempts, SUM(CASE WHEN in_run = 1 AND from_first > 1 THEN 1 ELSE 0 END) AS retests,
    MIN(CASE WHEN from_first = 1 AND outcome = 'failed' THEN 0 ELSE 1 END) AS first_good,
    MIN(CASE WHEN from_last = 1 AND outcome = 'failed' THEN 0 ELSE 1 END) AS final_good
  FROM judged GROUP BY unit
)
SELECT entry, COUNT(*), SUM(first_good), SUM(final_good), SUM(attempts), SUM(retests)
FROM tested WHERE chosen = 1 GROUP BY entry ORDER BY %7)"_s;

/// Another program may have written into the database.
Bytes_T Text(const QVariant& value) { return PrintableText(value.toString().toStdString()).toStdString(); }

std::optional<double> Number(const QVariant& value)
{
    return value.isNull() ? std::nullopt : std::optional(value.toDouble());
}

/// Of a reason such as "noiseFloor is 120 counts (limit: at most 90 counts)", so that such reasons are one.
Bytes_T WithoutValue(const Bytes_T& reason)
{
    const std::size_t limit = reason.find(" (limit: ");
    const std::size_t value = reason.rfind(" is ", limit);
    return limit == Bytes_T::npos || value == Bytes_T::npos ? reason
                                                            : reason.substr(0, value) + reason.substr(limit);
}

/// Reads the figures of one database.
class CReader
{
public:
    CReader(CDatabase& database, const RunFilter_T& filter)
        : m_Database(database), m_Chosen(ConditionsOf(filter)), m_AllChosen(m_Chosen)
    {
        if (!filter.command.empty()) {
            m_Command.text = u" AND attempts.command = ?"_s;
            m_Command.values = {PrintableText(filter.command)};
        }
        m_AllChosen.text += m_Command.text;
        m_AllChosen.values += m_Command.values;
    }

    std::vector<Yield_T> Groups(const GroupKind_T* by)
    {
        QSqlQuery query = m_Database.Ask(
            c_Yield.arg(by == nullptr ? u"''"_s : by->column(m_Database), m_Chosen.text, InOrderOfTime(false),
                        InOrderOfTime(true), c_Tables, m_Command.text, m_Database.InOrderOfBytes(u"entry"_s)),
            m_Chosen.values + m_Command.values);
        std::vector<Yield_T> groups;
        while (query.next()) {
            const auto number = [&query](int column) { return query.value(column).toULongLong(); };
            groups.push_back({.name = Text(query.value(0)),
                              .firstPass = {number(2), number(1)},
                              .final = {number(3), number(1)},
                              .attempts = number(4),
                              .retests = number(5)});
        }
        return groups;
    }

    std::uint64_t NotJudged()
    {
        return m_Database
            .Value(u"SELECT COUNT(*)"_s + c_Tables + u" WHERE attempts.outcome = 'not judged'"_s +
                       m_AllChosen.text,
                   m_AllChosen.values)
            .toULongLong();
    }

    std::vector<Reason_T> Reasons()
    {
        QSqlQuery query = m_Database.Ask(u"SELECT attempts.command, attempts.reason, COUNT(*)"_s + c_Tables +
                                             u" WHERE attempts.outcome = 'failed'"_s + m_AllChosen.text +
                                             u" GROUP BY attempts.command, attempts.reason"_s,
                                         m_AllChosen.values);
        std::map<std::pair<Bytes_T, Bytes_T>, std::uint64_t> counts;
        while (query.next()) {
            counts[{Text(query.value(0)), WithoutValue(Text(query.value(1)))}] +=
                query.value(2).toULongLong();
        }
        std::vector<Reason_T> reasons;
        reasons.reserve(counts.size());
        for (const auto& [texts, count] : counts) {
            reasons.push_back({texts.first, texts.second, count});
        }
        std::ranges::stable_sort(reasons, std::ranges::greater(), &Reason_T::count);
        return reasons;
    }

    std::vector<Series_T> Series();

private:
    /// A value of a series, and where it comes from.
    struct Source_T {
        qlonglong attempt = 0;
        double sum = 0;
        double count = 0; ///< of readings in the attempt
        Bytes_T station;
    };

    QString InOrderOfTime(bool isNewestFirst) const
    {
        const QString order = isNewestFirst ? u" DESC"_s : QString();
        return u"runs.start%1, runs.sha256%1, attempts.number%1"_s.arg(order);
    }

    static void Finish(Series_T& series, const std::vector<Source_T>& sources);
    void Complete(Signal_T& signal);

    CDatabase& m_Database;
    Conditions_T m_Chosen;
    Conditions_T m_Command;
    Conditions_T m_AllChosen; ///< also by command
};

std::vector<Series_T> CReader::Series()
{
    const std::array<QString, 5> names = {u"coalesce(runs.product, '')"_s, u"attempts.command"_s,
                                          u"attempts.setting"_s, u"measurements.name"_s,
                                          u"measurements.unit"_s};
    QString columns;
    QString order;
    for (const QString& name : names) {
        columns += name + u", "_s;
        order += m_Database.InOrderOfBytes(name) + u", "_s;
    }
    QSqlQuery query = m_Database.Ask(
        u"SELECT "_s + columns +
            u"attempts.id, stations.name, measurements.value, bounds.least, bounds.most"_s + c_Tables +
            u" JOIN measurements ON measurements.attempt_id = attempts.id"
            " LEFT JOIN (SELECT attempt_id, measurement, MAX(least) AS least, MIN(most) AS most FROM limits"
            " GROUP BY attempt_id, measurement) AS bounds"
            " ON bounds.attempt_id = attempts.id AND bounds.measurement = measurements.name"
            " WHERE attempts.outcome <> 'not judged' AND measurements.value IS NOT NULL"_s +
            m_AllChosen.text + u" ORDER BY "_s + order + InOrderOfTime(false) + u", measurements.value"_s,
        m_AllChosen.values);
    std::vector<Series_T> all;
    std::vector<Source_T> sources;
    std::array<Bytes_T, names.size()> key;
    while (query.next()) {
        const auto value = [&query](std::size_t column) { return query.value(static_cast<int>(column)); };
        std::array<Bytes_T, names.size()> texts;
        for (std::size_t i = 0; i < texts.size(); ++i) {
            texts[i] = Text(value(i));
        }
        if (all.empty() || texts != key) {
            if (!all.empty()) {
                Finish(all.back(), sources);
            }
            sources.clear();
            key = texts;
            Series_T& series = all.emplace_back();
            series.product = texts[0];
            series.command = texts[1];
            series.setting = texts[2];
            series.name = texts[3];
            series.unit = texts[4];
        }
        const qlonglong attempt = value(names.size()).toLongLong();
        if (sources.empty() || sources.back().attempt != attempt) {
            sources.push_back({.attempt = attempt, .station = Text(value(names.size() + 1))});
            const Bounds_T bounds = {Number(value(names.size() + 3)), Number(value(names.size() + 4))};
            Series_T& series = all.back();
            if (bounds != Bounds_T{} && bounds != series.bounds) {
                series.haveBoundsChanged = series.bounds != Bounds_T{};
                series.bounds = bounds;
            }
        }
        sources.back().sum += value(names.size() + 2).toDouble();
        ++sources.back().count;
    }
    if (!all.empty()) {
        Finish(all.back(), sources);
    }
    for (Series_T& series : all) {
        std::ranges::for_each(series.signals, [this](Signal_T& signal) { Complete(signal); });
    }
    return all;
}

void CReader::Finish(Series_T& series, const std::vector<Source_T>& sources)
{
    std::map<Bytes_T, std::vector<double>> stations;
    for (const Source_T& source : sources) {
        series.values.push_back(source.sum / source.count);
        stations[source.station].push_back(series.values.back());
    }
    series.spread = SpreadOf(series.values);
    series.cp = Cp(series.spread, series.bounds);
    series.cpk = Cpk(series.spread, series.bounds);
    for (const auto& [name, values] : stations) {
        StationSpread_T station{.name = name, .spread = SpreadOf(values), .difference = {}, .drift = {}};
        if (stations.size() > 1) {
            std::vector<double> others;
            for (const auto& [other, itsValues] : stations) {
                if (other != name) {
                    others.insert(others.end(), itsValues.begin(), itsValues.end());
                }
            }
            const Spread_T spread = SpreadOf(others);
            station.difference = station.spread.mean - spread.mean;
            station.drift = WelchStatistic(station.spread, spread);
        }
        series.stations.push_back(std::move(station));
    }
    if (series.values.size() > 1) {
        series.chart = MakeControlChart(series.values);
        for (const Violation_T& violation : FindViolations(series.values, *series.chart)) {
            const Source_T& source = sources[violation.index];
            series.signals.push_back(
                {violation, source.attempt, series.values[violation.index], {}, source.station, {}});
        }
    }
}

void CReader::Complete(Signal_T& signal)
{
    QSqlQuery query =
        m_Database.Ask(u"SELECT units.serial_number, %1"_s.arg(m_Database.TimeText(u"runs.start"_s)) +
                           c_Tables + u" WHERE attempts.id = ?"_s,
                       {static_cast<qlonglong>(signal.attempt)});
    if (query.next()) {
        signal.unit = Text(query.value(0));
        signal.start = Text(query.value(1));
    }
}
} // namespace

std::span<const GroupKind_T> GroupKinds() { return c_GroupKinds; }

YieldFigures_T ReadYield(CDatabase& database, const RunFilter_T& filter, const GroupKind_T* by)
{
    database.BeginReading(); // stations may import at the same time
    CReader reader(database, filter);
    YieldFigures_T figures;
    figures.by = by;
    figures.groups = reader.Groups(by);
    for (const Yield_T& group : figures.groups) {
        for (const auto share : {&Yield_T::firstPass, &Yield_T::final}) {
            (figures.total.*share).good += (group.*share).good;
            (figures.total.*share).all += (group.*share).all;
        }
        figures.total.attempts += group.attempts;
        figures.total.retests += group.retests;
    }
    if (by == nullptr) {
        figures.groups.clear();
    }
    figures.notJudged = reader.NotJudged();
    figures.reasons = reader.Reasons();
    figures.series = reader.Series();
    database.Commit();
    return figures;
}

std::size_t CountSignals(const Series_T& series, const ControlRule_T& rule)
{
    return static_cast<std::size_t>(std::ranges::count_if(
        series.signals, [&rule](const Signal_T& signal) { return signal.violation.rule == &rule; }));
}

Bytes_T TitleOf(const Series_T& series)
{
    Bytes_T title;
    for (const Bytes_T* pText : {&series.product, &series.command, &series.setting, &series.name}) {
        title += (title.empty() || pText->empty() ? "" : " ") + *pText;
    }
    return title;
}
