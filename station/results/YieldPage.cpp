#include "station/output/PageEchoes.h"
#include "station/output/PageHead.h"
#include "station/output/Svg.h"
#include "station/output/Text.h"
#include "station/results/Yield.h"
#include "station/results/YieldRules.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
// The picture, in its own units; the page scales it.
constexpr double c_Width = 960;
constexpr double c_Left = 76;
constexpr double c_Right = 800;
constexpr double c_Gap = 10;
constexpr double c_NumberRow = 328;
constexpr double c_Height = 336;
constexpr int c_MostLevels = 6;
constexpr int c_MostNumbers = 12;

constexpr std::size_t c_MostReasons = 50;
constexpr std::size_t c_MostCharts = 200;
constexpr std::size_t c_MostValues = 1000; ///< of a chart

/// The rows of a chart.
struct Panel_T {
    double top;
    double bottom;
};
constexpr Panel_T c_Individuals = {20, 200};
constexpr Panel_T c_Ranges = {226, 310};

/// Draws the charts of a series: the newest values, those that violate a rule as dots.
class CChart
{
public:
    explicit CChart(const Series_T& series)
        : m_Series(series), m_Chart(*series.chart),
          m_First(series.values.size() - std::min(series.values.size(), c_MostValues)),
          m_Svg(c_Width, c_Height,
                u"Values and moving ranges of "_s + QString::fromStdString(TitleOf(series)))
    {
    }

    QString Draw()
    {
        const auto values = std::span(m_Series.values).subspan(m_First);
        const auto [low, high] = std::ranges::minmax(values);
        Begin(c_Individuals, std::min(low, m_Chart.Low()), std::max(high, m_Chart.High()));
        Level(m_Chart.mean, u"frame"_s, u"mean"_s);
        Level(m_Chart.Low(), u"limit"_s, u"mean - 3 sigma"_s);
        Level(m_Chart.High(), u"limit"_s, u"mean + 3 sigma"_s);
        Bound(m_Series.bounds.least, u"least"_s);
        Bound(m_Series.bounds.most, u"most"_s);
        Values(values, m_First);
        Dots(false);

        const std::size_t firstRange = std::max<std::size_t>(m_First, 1) - 1;
        const auto ranges = std::span(m_Chart.ranges).subspan(firstRange);
        Begin(c_Ranges, 0, std::max(std::ranges::max(ranges), m_Chart.HighRange()));
        Level(m_Chart.meanRange, u"frame"_s, u"mean range"_s);
        Level(m_Chart.HighRange(), u"limit"_s, u"upper limit"_s);
        Values(ranges, firstRange + 1);
        Dots(true);

        const Ticks_T numbers = Ticks(static_cast<double>(m_First + 1),
                                      static_cast<double>(m_Series.values.size()), c_MostNumbers);
        for (const double number : numbers.values) {
            m_Svg.Text(u"tick", X(number - 1), c_NumberRow, Anchor::Middle,
                       TickText(number, numbers.decimals));
        }
        return m_Svg.Take();
    }

private:
    void Begin(const Panel_T& panel, double low, double high)
    {
        m_Panel = panel;
        m_Low = low;
        m_High = high > low ? high : low + 1;
        const Ticks_T levels = Ticks(m_Low, m_High, c_MostLevels);
        for (const double level : levels.values) {
            m_Svg.Line(u"grid", c_Left, Y(level), c_Right, Y(level));
            m_Svg.Text(u"tick", c_Left - c_Gap, Y(level) + 4, Anchor::End, TickText(level, levels.decimals));
        }
    }

    double X(double index) const
    {
        const auto last = static_cast<double>(m_Series.values.size() - 1);
        const auto first = static_cast<double>(m_First);
        return c_Left + (index - first) / (last - first) * (c_Right - c_Left);
    }
    double Y(double value) const
    {
        return m_Panel.bottom - (value - m_Low) / (m_High - m_Low) * (m_Panel.bottom - m_Panel.top);
    }

    void Level(double value, const QString& style, const QString& text)
    {
        m_Svg.Line(style, c_Left, Y(value), c_Right, Y(value));
        m_Svg.Text(u"name", c_Right + c_Gap, Y(value) + 4, Anchor::Start, text);
    }

    /// Limits are shown where the values are near enough.
    void Bound(const std::optional<double>& bound, const QString& text)
    {
        if (bound && *bound >= m_Low && *bound <= m_High) {
            m_Svg.Line(u"bottom", c_Left, Y(*bound), c_Right, Y(*bound));
            m_Svg.Text(u"full", c_Left + c_Gap, Y(*bound) - 4, Anchor::Start, u"limit: "_s + text);
        }
    }

    void Values(std::span<const double> values, std::size_t first)
    {
        CPath path;
        for (std::size_t i = 0; i < values.size(); ++i) {
            path.LineTo(X(static_cast<double>(first + i)) * CSvg::c_PointsPerUnit,
                        Y(values[i]) * CSvg::c_PointsPerUnit);
        }
        m_Svg.Shape(u"echo", path);
    }

    void Dots(bool areRanges)
    {
        for (const Signal_T& signal : m_Series.signals) {
            const std::size_t index = signal.violation.index;
            const ControlRule_T& rule = *signal.violation.rule;
            if (index >= m_First && (rule.of == 0) == areRanges) {
                m_Svg.Dot(u"signal", X(static_cast<double>(index)),
                          Y(areRanges ? m_Chart.ranges[index - 1] : signal.value),
                          QLatin1StringView(rule.name) +
                              QString::fromStdString(": unit " + signal.unit + ", station " + signal.station +
                                                     ", " + signal.start));
            }
        }
    }

    const Series_T& m_Series;
    const ControlChart_T& m_Chart;
    std::size_t m_First; ///< index of the first value that is drawn
    CSvg m_Svg;
    Panel_T m_Panel{};
    double m_Low = 0;
    double m_High = 1;
};

/// Text of the database for the page.
QString Safe(const Bytes_T& text) { return QString::fromStdString(Shown(text)); }

QString Row(const QStringList& cells)
{
    return u"<tr><td>"_s + cells.join(u"</td><td>"_s) + u"</td></tr>\n"_s;
}

/// @param heads  plain words
QString Table(const QStringList& heads, const QString& rows)
{
    return u"<div class=\"card\"><table class=\"wrong figures\"><thead><tr><th>"_s +
           heads.join(u"</th><th>"_s) + u"</th></tr></thead><tbody>\n"_s + rows +
           u"</tbody></table></div>\n"_s;
}

QString LeftOut(std::size_t count, std::size_t most, const QString& what)
{
    return count <= most ? QString()
                         : u"<p class=\"faint\">%1 more %2 are in JSON.</p>\n"_s.arg(count - most).arg(what);
}

QString YieldRow(const QString& name, const Yield_T& yield)
{
    return Row({name, QString::number(yield.firstPass.all), ShareText(yield.firstPass),
                ShareText(yield.final), QString::number(yield.attempts), QString::number(yield.retests)});
}

QString ReasonRows(const YieldFigures_T& figures)
{
    std::uint64_t all = 0;
    for (const Reason_T& reason : figures.reasons) {
        all += reason.count;
    }
    QString rows;
    std::uint64_t sum = 0;
    for (const Reason_T& reason :
         std::span(figures.reasons).first(std::min(figures.reasons.size(), c_MostReasons))) {
        sum += reason.count;
        rows += Row({QString::number(reason.count),
                     QString::number(100 * Share_T{sum, all}.Value(), 'f', 1) + u" %"_s,
                     u"<code>"_s + Safe(reason.command) + u"</code>"_s, Safe(reason.reason)});
    }
    return rows;
}

QString OptionalText(const std::optional<double>& value, QString (*text)(double))
{
    return value ? text(*value) : QString();
}

QString SeriesFigure(const Series_T& series)
{
    QString caption = u"mean "_s + NumberText(series.spread.mean);
    if (series.spread.deviation) {
        caption += u", standard deviation "_s + NumberText(*series.spread.deviation);
    }
    caption += series.bounds == Bounds_T{} ? u"; no limits"_s : u"; limits: "_s + BoundsText(series);
    caption += series.cp ? u"; Cp "_s + RatioText(*series.cp) : QString();
    caption += series.cpk ? u"; Cpk "_s + RatioText(*series.cpk) : QString();
    caption = caption.toHtmlEscaped();
    if (series.values.size() > c_MostValues) {
        caption += u"; the newest %1 values are drawn"_s.arg(c_MostValues);
    }
    QString rules;
    for (const ControlRule_T& rule : c_ControlRules) {
        const std::size_t count = CountSignals(series, rule);
        if (count > 0) {
            rules += u"<li><span class=\"bad\">%1</span>, %2 %3: %4</li>"_s.arg(
                QLatin1StringView(rule.name), QString::number(count), Plural(count, u"time"_s),
                QLatin1StringView(rule.meaning));
        }
    }
    QString stations;
    for (const StationSpread_T& station : series.stations) {
        stations +=
            Row({Safe(station.name), QString::number(station.spread.count), NumberText(station.spread.mean),
                 OptionalText(station.spread.deviation, NumberText),
                 OptionalText(station.difference, NumberText), OptionalText(station.drift, RatioText)});
    }
    return u"<figure>\n<h3><span class=\"title\">%1</span><span class=\"faint\">%2 %3</span></h3>\n"_s.arg(
               Safe(TitleOf(series)), QString::number(series.values.size()),
               Plural(series.values.size(), u"value"_s)) +
           (series.chart ? u"<div class=\"scroll\">"_s + CChart(series).Draw() + u"</div>\n"_s : QString()) +
           u"<figcaption>"_s + caption + (rules.isEmpty() ? rules : u"<ul>"_s + rules + u"</ul>"_s) +
           (series.stations.size() > 1 ? Table({u"Station"_s, u"Values"_s, u"Mean"_s, u"Standard deviation"_s,
                                                u"Difference"_s, u"Drift, standard errors"_s},
                                               stations)
                                       : QString()) +
           u"</figcaption>\n</figure>\n"_s;
}
} // namespace

std::string YieldPage(const YieldFigures_T& figures)
{
    QString text =
        PageHead(u"sonarbench yield"_s, false) + u"<h1>sonarbench yield</h1>\n<ul class=\"counts\">\n"_s;
    const auto count = [&text](std::uint64_t number, const QString& noun) {
        text += u"<li><b>%1</b>%2</li>\n"_s.arg(number).arg(Plural(number, noun));
    };
    count(figures.total.firstPass.all, u"unit"_s);
    count(figures.total.attempts, u"attempt"_s);
    count(figures.total.retests, u"retest"_s);
    text += u"<li><b>%1</b>not tested</li>\n</ul>\n"_s.arg(figures.notJudged);
    if (!figures.alarms.empty()) {
        text += u"<h2>Alarms</h2>\n<ul>\n"_s;
        for (const Alarm_T& alarm : figures.alarms) {
            text += u"<li class=\"bad\">"_s + Safe(AlarmText(alarm)) + u"</li>\n"_s;
        }
        text += u"</ul>\n"_s;
    }
    QString rows = YieldRow(u"all"_s, figures.total);
    for (const Yield_T& group : figures.groups) {
        rows += YieldRow(Safe(GroupText(figures, group).toStdString()), group);
    }
    text += u"<h2>Yield</h2>\n"_s +
            Table({QString(), u"Units"_s, u"First pass (confidence %1 %)"_s.arg(100 * c_Confidence),
                   u"Final"_s, u"Attempts"_s, u"Retests"_s},
                  rows);
    if (!figures.reasons.empty()) {
        text += u"<h2>Reasons of failures</h2>\n"_s +
                Table({u"Times"_s, u"Together"_s, u"Command"_s, u"Reason"_s}, ReasonRows(figures)) +
                LeftOut(figures.reasons.size(), c_MostReasons, u"reasons"_s);
    }
    if (!figures.series.empty()) {
        text += u"<h2>Measurements</h2>\n"_s;
        for (const Series_T& series :
             std::span(figures.series).first(std::min(figures.series.size(), c_MostCharts))) {
            text += SeriesFigure(series);
        }
        text += LeftOut(figures.series.size(), c_MostCharts, u"measurements"_s);
    }
    return (text + u"</body>\n</html>\n"_s).toStdString();
}
