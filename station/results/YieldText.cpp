#include "station/results/Yield.h"

#include "station/output/Text.h"
#include "station/output/TextBuffer.h"

#include <QBuffer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
constexpr std::size_t c_MostReasonLines = 20; ///< in the text; JSON has all
constexpr qsizetype c_WidestCell = 40;

/// Columns under each other; the last one is not padded.
QString Table(const std::vector<QStringList>& rows)
{
    std::vector<qsizetype> widths;
    for (const QStringList& row : rows) {
        widths.resize(std::max(widths.size(), static_cast<std::size_t>(row.size())));
        for (qsizetype i = 0; i < row.size(); ++i) {
            qsizetype& width = widths[static_cast<std::size_t>(i)];
            width = std::max(width, std::min(row[i].size(), c_WidestCell));
        }
    }
    QString text;
    for (const QStringList& row : rows) {
        QString line;
        for (qsizetype i = 0; i < row.size(); ++i) {
            line += u"  "_s + row[i].leftJustified(widths[static_cast<std::size_t>(i)]);
        }
        while (line.endsWith(u' ')) {
            line.chop(1);
        }
        text += line + u'\n';
    }
    return text;
}

QString Unicode(const Bytes_T& text) { return QString::fromStdString(text); }

void Number(CJsonText& json, std::string_view name, const std::optional<double>& value)
{
    if (value) {
        json.Name(name).Value(*value);
    }
}

void WriteShare(CJsonText& json, std::string_view name, const Share_T& share)
{
    json.Name(name).Begin('{');
    json.Name("good").Value(share.good);
    if (share.all > 0) {
        const Interval_T interval = WilsonInterval(share);
        json.Name("share").Value(share.Value());
        json.Name("low").Value(interval.low);
        json.Name("high").Value(interval.high);
    }
    json.End('}');
}

void WriteYield(CJsonText& json, const Yield_T& yield)
{
    json.Name("units").Value(yield.firstPass.all);
    WriteShare(json, "firstPass", yield.firstPass);
    WriteShare(json, "final", yield.final);
    json.Name("attempts").Value(yield.attempts);
    json.Name("retests").Value(yield.retests);
}

void WriteSpread(CJsonText& json, const Spread_T& spread)
{
    json.Name("count").Value(spread.count);
    json.Name("mean").Value(spread.mean);
    Number(json, "deviation", spread.deviation);
}

void WriteSeries(CJsonText& json, const Series_T& series)
{
    json.Begin('{');
    json.Optional("product", series.product);
    json.Name("command").Value(std::string_view(series.command));
    json.Optional("setting", series.setting);
    json.Name("name").Value(std::string_view(series.name));
    json.Optional("unit", series.unit);
    WriteSpread(json, series.spread);
    Number(json, "least", series.bounds.least);
    Number(json, "most", series.bounds.most);
    json.Name("limitsChanged").Value(series.haveBoundsChanged);
    Number(json, "cp", series.cp);
    Number(json, "cpk", series.cpk);
    if (series.chart) {
        json.Name("chart").Begin('{');
        json.Name("sigma").Value(series.chart->sigma);
        json.Name("low").Value(series.chart->Low());
        json.Name("high").Value(series.chart->High());
        json.Name("meanRange").Value(series.chart->meanRange);
        json.Name("highRange").Value(series.chart->HighRange());
        json.End('}');
    }
    json.Name("signals").Begin('[');
    for (const Signal_T& signal : series.signals) {
        json.Begin('{');
        json.Name("rule").Value(std::string_view(signal.violation.rule->name));
        json.Name("number").Value(signal.violation.index + 1);
        json.Name("value").Value(signal.value);
        json.Name("unit").Value(std::string_view(signal.unit));
        json.Name("station").Value(std::string_view(signal.station));
        json.Name("start").Value(std::string_view(signal.start));
        json.End('}');
    }
    json.End(']');
    json.Name("stations").Begin('[');
    for (const StationSpread_T& station : series.stations) {
        json.Begin('{');
        json.Name("name").Value(std::string_view(station.name));
        WriteSpread(json, station.spread);
        Number(json, "difference", station.difference);
        Number(json, "drift", station.drift);
        json.End('}');
    }
    json.End(']');
    json.End('}');
}

QString AmountText(double value, const Series_T& series)
{
    return NumberText(value) + (series.unit.empty() ? QString() : u' ' + Unicode(series.unit));
}

QString SeriesText(const Series_T& series)
{
    QString text = Unicode(TitleOf(series)) + u'\n';
    QString line = u"%1 %2, mean %3"_s.arg(series.spread.count)
                       .arg(Plural(series.spread.count, u"value"_s), AmountText(series.spread.mean, series));
    if (series.spread.deviation) {
        line += u", standard deviation "_s + AmountText(*series.spread.deviation, series);
    }
    text += u"  "_s + line + u'\n';
    if (series.bounds != Bounds_T{}) {
        text += u"  limits: "_s + BoundsText(series);
        text += series.cp ? u"; Cp "_s + RatioText(*series.cp) : QString();
        text += series.cpk ? u"; Cpk "_s + RatioText(*series.cpk) : QString();
        text += u'\n';
    }
    for (const ControlRule_T& rule : c_ControlRules) {
        if (const std::size_t count = CountSignals(series, rule); count > 0) {
            const auto first = std::ranges::find_if(
                series.signals, [&rule](const Signal_T& signal) { return signal.violation.rule == &rule; });
            text += u"  %1: %2 %3, first unit %4 on %5\n"_s.arg(QLatin1StringView(rule.name))
                        .arg(count)
                        .arg(Plural(count, u"time"_s), Unicode(first->unit), Unicode(first->start));
        }
    }
    std::vector<QStringList> rows;
    for (const StationSpread_T& station : series.stations) {
        if (station.difference) {
            rows.push_back(
                {u"station "_s + Unicode(station.name),
                 u"%1 %2"_s.arg(station.spread.count).arg(Plural(station.spread.count, u"value"_s)),
                 u"mean "_s + NumberText(station.spread.mean),
                 u"difference "_s + NumberText(*station.difference),
                 station.drift ? u"drift "_s + RatioText(*station.drift) : QString()});
        }
    }
    return text + Table(rows);
}
} // namespace

QString RatioText(double ratio) { return QString::number(ratio, 'f', 2); }

QString ShareText(const Share_T& share)
{
    if (share.all == 0) {
        return u"no units"_s;
    }
    const auto percent = [](double value) { return QString::number(100 * value, 'f', 1); };
    const Interval_T interval = WilsonInterval(share);
    return u"%1 % (%2 to %3)"_s.arg(percent(share.Value()), percent(interval.low), percent(interval.high));
}

QString BoundsText(const Series_T& series)
{
    Limit_T limit;
    limit.least = series.bounds.least.value_or(limit.least);
    limit.most = series.bounds.most.value_or(limit.most);
    return Unicode(RangeText(limit, series.unit)) +
           (series.haveBoundsChanged ? u", changed in between"_s : QString());
}

QString GroupText(const YieldFigures_T& figures, const Yield_T& group)
{
    return (figures.by == nullptr ? QString() : QString(QLatin1StringView(figures.by->name)) + u' ') +
           (group.name.empty() ? u"not known"_s : Unicode(group.name));
}

std::string YieldText(const YieldFigures_T& figures)
{
    std::vector<QStringList> rows = {{QString(), u"units"_s, u"first pass (%1 %)"_s.arg(100 * c_Confidence),
                                      u"final"_s, u"attempts"_s, u"retests"_s}};
    const auto add = [&rows](const QString& name, const Yield_T& yield) {
        rows.push_back({name, QString::number(yield.firstPass.all), ShareText(yield.firstPass),
                        ShareText(yield.final), QString::number(yield.attempts),
                        QString::number(yield.retests)});
    };
    add(u"all"_s, figures.total);
    for (const Yield_T& group : figures.groups) {
        add(GroupText(figures, group), group);
    }
    QString text = u"Yield\n"_s + Table(rows);
    if (figures.notJudged > 0) {
        text += u"  %1 more %2 could not be tested\n"_s.arg(figures.notJudged)
                    .arg(Plural(figures.notJudged, u"attempt"_s));
    }
    if (!figures.reasons.empty()) {
        rows.clear();
        for (const Reason_T& reason : figures.reasons) {
            if (rows.size() < c_MostReasonLines) {
                rows.push_back(
                    {QString::number(reason.count), Unicode(reason.command), Unicode(reason.reason)});
            }
        }
        text += u"\nReasons of failures\n"_s + Table(rows);
        if (figures.reasons.size() > c_MostReasonLines) {
            text += u"  and %1 more\n"_s.arg(figures.reasons.size() - c_MostReasonLines);
        }
    }
    for (const Series_T& series : figures.series) {
        text += u'\n' + SeriesText(series);
    }
    return text.toStdString();
}

std::string YieldJson(const YieldFigures_T& figures)
{
    QBuffer device;
    device.open(QIODevice::WriteOnly);
    CTextBuffer buffer(device);
    CJsonText json(buffer);
    json.Begin('{');
    json.Name("confidence").Value(c_Confidence);
    WriteYield(json, figures.total);
    json.Name("notJudged").Value(figures.notJudged);
    json.Optional("by", figures.by == nullptr ? "" : figures.by->name);
    json.Name("groups").Begin('[');
    for (const Yield_T& group : figures.groups) {
        json.Begin('{');
        json.Name("name").Value(std::string_view(group.name));
        WriteYield(json, group);
        json.End('}');
    }
    json.End(']');
    json.Name("reasons").Begin('[');
    std::uint64_t sum = 0;
    for (const Reason_T& reason : figures.reasons) {
        sum += reason.count;
        json.Begin('{');
        json.Name("command").Value(std::string_view(reason.command));
        json.Name("reason").Value(std::string_view(reason.reason));
        json.Name("count").Value(reason.count);
        json.Name("cumulative").Value(sum);
        json.End('}');
    }
    json.End(']');
    json.Name("measurements").Begin('[');
    for (const Series_T& series : figures.series) {
        WriteSeries(json, series);
    }
    json.End(']');
    json.Name("alarms").Begin('[');
    for (const Alarm_T& alarm : figures.alarms) {
        json.Begin('{');
        json.Name("rule").Value(std::string_view(alarm.rule));
        json.Name("bound").Value(alarm.bound);
        json.Name("value").Value(alarm.value);
        json.Name("of").Value(std::string_view(alarm.subject));
        json.End('}');
    }
    json.End(']');
    json.End('}');
    buffer.Append('\n');
    buffer.Flush();
    return device.data().toStdString();
}
