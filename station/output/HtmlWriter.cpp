#include "station/output/Formats.h"

#include "station/judge/Limits.h"
#include "station/output/SvgPlot.h"
#include "station/output/Text.h"

#include <map>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{
/// The number of bytes that are shown of a unit's text.
constexpr std::size_t c_LongestText = 300;
constexpr std::size_t c_LongestCharacter = 4; ///< bytes of UTF-8
constexpr std::size_t c_MostMeasurements = 8;

// Nothing can be fetched or run, whatever a unit printed.
constexpr QStringView c_Head = uR"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>sonarbench report</title>
<style>%1</style>
</head>
<body>
)";

/// The style sheet of the page: light or dark like the reader's system, and one for paper.
const QString c_Style = uR"(
:root {
  color-scheme: light dark;
  --paper: #f7f8f9; --card: #ffffff; --ink: #1c2329; --faint: #5b6670; --rule: #d9dee3; --grid: #e8ecef;
  --echo: #0b6a9c; --ring: #8a97a314; --bottom: #a8500c; --limit: #b3394a; --spread: #0b6a9c1c;
  --passed: #1c7a45; --performed: #2a67ad; --failed: #b8263a; --unjudged: #8a5a00;
  --s1: #0b6a9c; --s2: #c4570b; --s3: #2f8a4e; --s4: #8a48a8; --s5: #a8841a; --s6: #c23a6b;
}
@media (prefers-color-scheme: dark) {
  :root {
    --paper: #12171c; --card: #1a2127; --ink: #e3e8ec; --faint: #9aa7b2; --rule: #323c45; --grid: #28313a;
    --echo: #62b8e8; --ring: #9fb0bf1c; --bottom: #f0a35e; --limit: #e0788a; --spread: #62b8e824;
    --passed: #5cc88c; --performed: #7fb4ee; --failed: #f07f8e; --unjudged: #e0b050;
    --s1: #62b8e8; --s2: #f0a35e; --s3: #6fcf97; --s4: #c79be0; --s5: #dcc060; --s6: #f08fb4;
  }
}
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 72rem; padding: 2rem 1.5rem 4rem; background: var(--paper); color: var(--ink);
  font: 15px/1.5 system-ui, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif; }
h1 { font-size: 1.6rem; font-weight: 600; margin: 0 0 1rem; letter-spacing: -.01em; }
h2 { font-size: 1.15rem; font-weight: 600; margin: 2.5rem 0 .75rem; }
p { max-width: 46rem; }
a { color: inherit; text-decoration-color: var(--faint); text-underline-offset: .2em; }
code { font: .92em/1.45 ui-monospace, "SF Mono", Menlo, Consolas, "DejaVu Sans Mono", monospace;
  overflow-wrap: anywhere; unicode-bidi: isolate; }
.faint { color: var(--faint); }
.counts { display: flex; flex-wrap: wrap; gap: .75rem; list-style: none; margin: 0; padding: 0; }
.counts li { background: var(--card); border: 1px solid var(--rule); border-radius: 6px; padding: .5rem 1rem;
  min-width: 8rem; color: var(--faint); }
.counts b { display: block; font-size: 1.5rem; font-weight: 600; line-height: 1.3; color: var(--ink);
  font-variant-numeric: tabular-nums; }
.scroll { overflow-x: auto; background: var(--card); border: 1px solid var(--rule); border-radius: 6px; }
table { border-collapse: collapse; width: 100%; min-width: 46rem; font-size: .93rem; }
th, td { text-align: left; vertical-align: top; padding: .5rem .8rem; border-top: 1px solid var(--rule); }
thead th { border-top: 0; color: var(--faint); font-weight: 600; font-size: .85rem; white-space: nowrap; }
td ul { margin: 0; padding: 0; list-style: none; }
.outcome { display: inline-block; white-space: nowrap; font-weight: 600; }
.outcome::before { content: ""; display: inline-block; width: .6em; height: .6em; border-radius: 50%;
  margin-right: .45em; background: currentColor; }
.passed { color: var(--passed); } .performed { color: var(--performed); }
.failed { color: var(--failed); } .notjudged { color: var(--unjudged); }
.failed::before { border-radius: 1px; } .notjudged::before { border-radius: 1px; transform: rotate(45deg); }
.bad { color: var(--failed); } .marginal, .absent { color: var(--unjudged); }
figcaption table { margin-top: .5rem; min-width: 0; width: auto; }
figcaption td { padding: .1rem .8rem .1rem 0; border: 0; }
.counts .outcome { font-weight: 400; }
figure { margin: 0 0 1.25rem; padding: 1rem 1rem .8rem; background: var(--card); border: 1px solid var(--rule);
  border-radius: 6px; break-inside: avoid; scroll-margin-top: 1rem; overflow-x: auto; }
figure h3 { margin: 0 0 .6rem; font-size: 1rem; font-weight: 600; display: flex; flex-wrap: wrap; gap: .2rem 1rem;
  align-items: baseline; }
figure h3 .faint { font-weight: 400; font-size: .9rem; }
figure h3 .title { margin-right: auto; overflow-wrap: anywhere; }
figcaption { color: var(--faint); font-size: .9rem; font-variant-numeric: tabular-nums; }
figcaption ul { list-style: none; margin: .2rem 0 0; padding: 0; columns: 2 22rem; }
figcaption li { overflow-wrap: anywhere; break-inside: avoid; }
#pings figure { content-visibility: auto; contain-intrinsic-size: auto 26rem; }
svg { display: block; width: 100%; min-width: 38rem; height: auto; }
svg.key { display: inline-block; width: 2.4rem; min-width: 0; height: .7rem; margin-right: .5rem; }
svg text { font: 12px system-ui, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif; fill: var(--faint);
  font-variant-numeric: tabular-nums; }
svg .mark { fill: var(--ink); } svg .full { fill: var(--limit); }
svg .grid { stroke: var(--grid); } svg .frame { stroke: var(--faint); stroke-width: .8; }
svg .limit { stroke: var(--limit); stroke-dasharray: 2 4; }
svg .ringdown { fill: var(--ring); } svg .bottom { stroke: var(--bottom); stroke-width: 1.5; stroke-dasharray: 6 3; }
svg .echo { fill: none; stroke: var(--echo); stroke-width: 1.2; stroke-linejoin: round; }
svg .tolerance { fill: var(--passed); fill-opacity: .14; stroke: var(--passed); stroke-opacity: .5; }
svg .band { fill: var(--echo); stroke: var(--echo); stroke-width: .6; stroke-linejoin: round; }
svg .spread { fill: var(--spread); stroke: none; }
svg .series1 { stroke: var(--s1); } svg .series2 { stroke: var(--s2); stroke-dasharray: 7 2; }
svg .series3 { stroke: var(--s3); stroke-dasharray: 2 2; } svg .series4 { stroke: var(--s4); stroke-dasharray: 9 3 2 3; }
svg .series5 { stroke: var(--s5); stroke-dasharray: 4 4; } svg .series6 { stroke: var(--s6); stroke-dasharray: 12 4; }
@media print {
  :root { --paper: #fff; --card: #fff; --ink: #000; --faint: #444; --rule: #bbb; --grid: #ddd; --echo: #004a70;
    --ring: #00000010; --bottom: #7a3500; --limit: #900; --spread: #00000018; --passed: #0a5c2e;
    --performed: #0d4a8a; --failed: #a00018; --unjudged: #6a4400;
    --s1: #004a70; --s2: #a04000; --s3: #1c6a38; --s4: #6a2a88; --s5: #7a5c00; --s6: #a01850;
    color-scheme: light; }
  @page { margin: 14mm; }
  body { max-width: none; padding: 0; font-size: 10pt; }
  .scroll, figure { overflow: visible; } svg, table { min-width: 0; }
  #pings figure { content-visibility: visible; }
  thead { display: table-header-group; } tr, figure { break-inside: avoid; } h2 { break-after: avoid; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)"_s;

/// Where to cut a longer text without cutting a character.
std::size_t CutBefore(std::string_view bytes, std::size_t most)
{
    const std::size_t least = most - c_LongestCharacter;
    std::size_t cut = most;
    while (cut > least && (static_cast<unsigned char>(bytes[cut]) & 0xC0U) == 0x80) {
        --cut;
    }
    return cut;
}

/// Untrusted bytes as text of the page.
QString Shown(std::string_view bytes)
{
    if (bytes.size() <= c_LongestText) {
        return PrintableText(bytes).toHtmlEscaped();
    }
    return PrintableText(bytes.substr(0, CutBefore(bytes, c_LongestText))).toHtmlEscaped() + u'…';
}

QString Code(std::string_view bytes)
{
    return bytes.empty() ? QString() : u"<code>%1</code>"_s.arg(Shown(bytes));
}

QString OutcomeLabel(Outcome outcome)
{
    const QString name = QLatin1StringView(NameOf(outcome));
    return u"<span class=\"outcome %1\">%2</span>"_s.arg(QString(name).remove(u' '), name);
}

QString UnitCell(const Unit_T& unit)
{
    QString text;
    for (const Bytes_T* pText : {&unit.serialNumber, &unit.product, &unit.firmwareVersion}) {
        if (!pText->empty()) {
            text += (text.isEmpty() ? u""_s : u"<br>"_s) +
                    (pText == &unit.firmwareVersion ? u"firmware "_s : u""_s) + Shown(*pText);
        }
    }
    return text;
}

QString FitOf(const LimitResult_T& result) { return QLatin1StringView(NameOf(result.fit)); }

/// The limits that need a look.
QString LimitItems(const Run_T& run)
{
    QString items;
    std::size_t count = 0;
    for (const LimitResult_T& result : run.limits) {
        if (result.fit != Fit::Good && count++ < c_MostMeasurements) {
            items += u"<li class=\"%1\">%1: %2</li>"_s.arg(FitOf(result), Shown(LimitText(result)));
        }
    }
    return items;
}

QString LimitsTable(const Run_T& run)
{
    QString rows;
    for (const LimitResult_T& result : run.limits) {
        rows +=
            u"<tr><td class=\"%1\">%1</td><td>%2</td></tr>\n"_s.arg(FitOf(result), Shown(LimitText(result)));
    }
    return rows.isEmpty() ? rows : u"<table>\n"_s + rows + u"</table>"_s;
}

QString FoundCell(const Run_T& run)
{
    QString text = Shown(run.reason);
    QString list = LimitItems(run);
    // The measurements of a ping are below its echo.
    const std::size_t count = run.samples.values.empty() ? run.measurements.size() : 0;
    for (std::size_t i = 0; i < std::min(count, c_MostMeasurements); ++i) {
        const Quantity_T& measured = run.measurements[i];
        list += u"<li>%1</li>"_s.arg(QuantityText(measured).toHtmlEscaped());
    }
    if (count > c_MostMeasurements) {
        list += u"<li class=\"faint\">and %1 more</li>"_s.arg(count - c_MostMeasurements);
    }
    return list.isEmpty() ? text : text + u"<ul>"_s + list + u"</ul>"_s;
}

/// The measurements, and what they assume.
QString MeasurementList(const Run_T& run)
{
    QString list;
    for (const Quantity_T& measured : run.measurements) {
        list += u"<li>%1</li>"_s.arg(QuantityText(measured).toHtmlEscaped());
    }
    const QString law = QLatin1StringView(run.receiverLaw);
    return (law.isEmpty() ? QString() : u"; decibels for a %1 receiver"_s.arg(law)) + u"<ul>"_s + list +
           u"</ul>"_s;
}

QString SamplesText(const Ping_T& ping)
{
    QString text = u"%1 %2"_s.arg(ping.envelope.samples).arg(Plural(ping.envelope.samples, u"sample"_s));
    if (ping.step > 1) {
        text += u", one of every %1 taken"_s.arg(ping.step);
    }
    if (!ping.envelope.IsExact()) {
        text +=
            u", drawn as the lowest and the highest in each of %1 columns"_s.arg(ping.envelope.high.size());
    }
    if (ping.metres > 0) {
        text += u"; range at %1 m/s"_s.arg(ping.soundSpeed);
    }
    if (ping.band != nullptr) {
        text += u"; the green area is where the means of %1 columns must be"_s.arg(ping.band->high.size());
    }
    return text;
}

QString HeardText(const Samples_T& samples)
{
    QString text;
    if (samples.element >= 0) {
        text += u"; element %1"_s.arg(samples.element);
    }
    if (samples.channel >= 0) {
        text += u"; channel %1"_s.arg(samples.channel);
    }
    if (!samples.band.empty()) {
        text += u"; band "_s + Shown(samples.band);
    }
    return text;
}

/// A sentence about what is missing on the page; empty if nothing is.
QString LeftOut(std::size_t count, QStringView what)
{
    return count == 0
               ? QString()
               : u"<p class=\"faint\">%1 more %2 are counted above but not shown; each outcome shows only "
                 "its first.</p>\n"_s.arg(QString::number(count), what);
}

/// A page in one file: counts, a table of the runs, pings of the same set-up compared, and each ping. Nothing
/// on it runs. Its size is bounded: for each outcome it has the first c_MostRows rows and draws the first
/// c_MostPings pings, and it says what is left out. All of it is written at the end.
class CHtmlWriter : public IRunWriter
{
public:
    static constexpr std::size_t c_MostRows = 10'000;
    static constexpr std::size_t c_MostPings = 250;
    static constexpr std::size_t c_MostSetups = 50;

    CHtmlWriter(QIODevice& output, const View_T& view) : m_Output(output), m_View(view) {}

    void Write(const Run_T& run) override
    {
        const QString drawn = run.samples.values.empty() ? QString() : AddPing(run);
        if (m_RowsOf[static_cast<std::size_t>(run.outcome)]++ >= c_MostRows) {
            ++m_RowsLeftOut;
            return;
        }
        const QString link = drawn.isEmpty() ? QString() : u"<a href=\"#%1\">echo</a>"_s.arg(drawn);
        const QStringList cells = {OutcomeLabel(run.outcome),
                                   Code(TestOf(run)),
                                   UnitCell(run.unit),
                                   FoundCell(run),
                                   link,
                                   u"<span class=\"faint\">%1</span>"_s.arg(TitleOf(run).toHtmlEscaped())};
        m_Rows += (u"<tr><td>"_s + cells.join(u"</td><td>"_s) + u"</td></tr>\n"_s).toUtf8();
    }

    void End(const Summary_T& summary) override
    {
        QString top = c_Head.toString().arg(c_Style) +
                      u"<h1>sonarbench report</h1>\n<ul class=\"counts\">\n"_s +
                      u"<li><b>%1</b>%2</li>\n"_s.arg(summary.runs).arg(Plural(summary.runs, u"run"_s));
        for (std::size_t i = 0; i < c_Outcomes; ++i) {
            top += u"<li><b>%1</b>%2</li>\n"_s.arg(summary.outcomes[i])
                       .arg(OutcomeLabel(static_cast<Outcome>(i)));
        }
        if (summary.unrecognised > 0) {
            top += u"<li><b>%1</b>%2 not recognised</li>\n"_s.arg(summary.unrecognised)
                       .arg(Plural(summary.unrecognised, u"line"_s));
        }
        top +=
            u"</ul>\n<h2>Runs</h2>\n<div class=\"scroll\"><table>\n<thead><tr><th>Outcome</th><th>Test</th>"
            "<th>Unit</th><th>Found</th><th>Echo</th><th>Transcript</th></tr></thead>\n<tbody>\n"_s;
        m_Output.write(top.toUtf8());
        m_Output.write(m_Rows);
        m_Output.write(
            (u"</tbody></table></div>\n"_s + LeftOut(m_RowsLeftOut, u"runs") + Comparisons()).toUtf8());
        if (!m_Pings.isEmpty()) {
            m_Output.write("<section id=\"pings\">\n<h2>Each ping</h2>\n");
            m_Output.write(m_Pings);
            m_Output.write((LeftOut(m_PingsLeftOut, u"pings") + u"</section>\n"_s).toUtf8());
        }
        m_Output.write("</body>\n</html>\n");
    }

private:
    /// Pings that can be drawn over each other.
    struct Setup_T {
        std::vector<Ping_T> pings; ///< the first ones
        Envelope_T all;
        std::size_t count = 0;
    };

    /// @return the name that links to the ping; empty: it is not drawn
    QString AddPing(const Run_T& run)
    {
        Ping_T ping = MakePing(run, m_View, c_PlotColumns);
        QString name;
        if (m_PingsOf[static_cast<std::size_t>(run.outcome)]++ < c_MostPings) {
            name = u"ping%1"_s.arg(++m_PingCount);
            m_Pings +=
                (u"<figure id=\"%1\">\n<h3><span class=\"title\">%2</span>%3<span "
                 "class=\"faint\">%4</span></h3>\n%5<figcaption>%6%7%8%9</figcaption>\n</figure>\n"_s.arg(
                     name, Code(TestOf(run)), OutcomeLabel(run.outcome), ping.title.toHtmlEscaped(),
                     PingSvg(ping), SamplesText(ping), HeardText(run.samples), MeasurementList(run),
                     LimitsTable(run)))
                    .toUtf8();
        } else {
            ++m_PingsLeftOut;
        }
        Compare(run, std::move(ping));
        return name;
    }

    void Compare(const Run_T& run, Ping_T ping)
    {
        const Samples_T& samples = run.samples;
        Bytes_T common = TestOf(run) + '\n' + samples.band;
        for (const double number :
             {static_cast<double>(samples.values.size()), static_cast<double>(samples.taken),
              static_cast<double>(ping.fullScale), samples.centreHertz, static_cast<double>(samples.element),
              static_cast<double>(samples.channel)}) {
            common += '\n' + std::to_string(number);
        }
        if (m_Setups.size() >= c_MostSetups && !m_Setups.contains(common)) {
            return;
        }
        Setup_T& setup = m_Setups[common];
        if (setup.count++ == 0) {
            setup.all = ping.envelope;
        }
        setup.all.Include(ping.envelope);
        if (setup.pings.size() < c_ComparedPings) {
            setup.pings.push_back(std::move(ping));
        }
    }

    QString Comparisons() const
    {
        QString text;
        for (const auto& [common, setup] : m_Setups) {
            if (setup.count < 2) {
                continue;
            }
            QString legend;
            for (std::size_t i = 0; i < setup.pings.size(); ++i) {
                const Ping_T& ping = setup.pings[i];
                legend +=
                    u"<li><svg class=\"key\" viewBox=\"0 0 40 10\" aria-hidden=\"true\"><line class=\"echo "
                    "series%1\" x1=\"0\" y1=\"5\" x2=\"40\" y2=\"5\"/></svg>%2%3</li>\n"_s.arg(i + 1)
                        .arg(ping.title.toHtmlEscaped(),
                             ping.bottom ? u", bottom at "_s + PlaceText(ping, *ping.bottom) : QString());
            }
            const std::size_t others = setup.count - setup.pings.size();
            text +=
                u"<figure>\n<h3><span class=\"title\">%1</span><span class=\"faint\">%2 pings</span></h3>\n%3"
                "<figcaption>The area is between the lowest and the highest samples of all "
                "pings%4.\n<ul>%5</ul>"
                "</figcaption>\n</figure>\n"_s.arg(
                    Code(std::string_view(common).substr(0, common.find('\n'))), QString::number(setup.count),
                    ComparisonSvg(setup.pings, setup.all),
                    others == 0 ? QString() : u", of which the first %1 are drawn"_s.arg(setup.pings.size()),
                    legend);
        }
        return text.isEmpty() ? text : u"<h2>Pings of the same set-up</h2>\n"_s + text;
    }

    QIODevice& m_Output;
    View_T m_View;
    std::size_t m_PingCount = 0;
    std::size_t m_RowsLeftOut = 0;
    std::size_t m_PingsLeftOut = 0;
    std::array<std::size_t, c_Outcomes> m_RowsOf = {};
    std::array<std::size_t, c_Outcomes> m_PingsOf = {};
    QByteArray m_Rows;
    QByteArray m_Pings;
    std::map<Bytes_T, Setup_T> m_Setups; ///< by what the pings have in common
};
} // namespace

std::unique_ptr<IRunWriter> MakeHtmlWriter(QIODevice& output, const View_T& view)
{
    return std::make_unique<CHtmlWriter>(output, view);
}
