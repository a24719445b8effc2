#include "station/HtmlWriter.h"

#include "station/HtmlStyle.h"
#include "station/Text.h"

using namespace Qt::StringLiterals;

namespace
{
/// Of texts that a unit prints, as much as a page can bear.
constexpr std::size_t c_LongestText = 300;
constexpr std::size_t c_LongestCharacter = 4; ///< bytes of UTF-8
constexpr std::size_t c_MostMeasurements = 8;

// Nothing may be fetched or run, whatever a unit printed.
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

/// Where a text is cut at the latest: not within a character.
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

QString FoundCell(const Run_T& run)
{
    QString text = Shown(run.reason);
    QString list;
    for (std::size_t i = 0; i < std::min(run.measurements.size(), c_MostMeasurements); ++i) {
        const Quantity_T& measured = run.measurements[i];
        list += u"<li>%1: %2 %3</li>"_s.arg(Shown(measured.name), QString::number(measured.value, 'g', 8),
                                            Shown(measured.unit));
    }
    if (run.measurements.size() > c_MostMeasurements) {
        list += u"<li class=\"faint\">and %1 more</li>"_s.arg(run.measurements.size() - c_MostMeasurements);
    }
    return list.isEmpty() ? text : text + u"<ul>"_s + list + u"</ul>"_s;
}

/// What the command was, without the program's name.
Bytes_T TestOf(const Run_T& run)
{
    Bytes_T text = run.command;
    for (const Bytes_T& argument : run.arguments) {
        text += ' ' + argument;
    }
    return text;
}

QString SamplesText(const Ping_T& ping)
{
    QString text = u"%1 samples"_s.arg(ping.envelope.samples);
    if (ping.step > 1) {
        text += u", one of every %1 that were taken"_s.arg(ping.step);
    }
    if (!ping.envelope.IsExact()) {
        text +=
            u", drawn as the lowest and the highest of each of %1 columns"_s.arg(ping.envelope.high.size());
    }
    if (ping.metres > 0) {
        text += u"; range at %1 m/s"_s.arg(ping.soundSpeed);
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

/// "... and N more" for what was left out of the page, or nothing.
QString LeftOut(std::size_t count, QStringView what)
{
    return count == 0
               ? QString()
               : u"<p class=\"faint\">%1 more %2 are counted above, but not shown: of each outcome the "
                 "first are.</p>\n"_s.arg(QString::number(count), what);
}
} // namespace

void CHtmlWriter::Write(const Run_T& run)
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

QString CHtmlWriter::AddPing(const Run_T& run)
{
    Ping_T ping = MakePing(run, m_View, c_PlotColumns);
    QString name;
    if (m_PingsOf[static_cast<std::size_t>(run.outcome)]++ < c_MostPings) {
        name = u"ping%1"_s.arg(++m_PingCount);
        m_Pings +=
            (u"<figure id=\"%1\">\n<h3><span class=\"title\">%2</span>%3<span "
             "class=\"faint\">%4</span></h3>\n%5<figcaption>%6%7<br>%8</figcaption>\n</figure>\n"_s.arg(
                 name, Code(TestOf(run)), OutcomeLabel(run.outcome), ping.title.toHtmlEscaped(),
                 PingSvg(ping), SamplesText(ping), HeardText(run.samples), LevelsText(ping)))
                .toUtf8();
    } else {
        ++m_PingsLeftOut;
    }
    Compare(run, std::move(ping));
    return name;
}

void CHtmlWriter::Compare(const Run_T& run, Ping_T ping)
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

QString CHtmlWriter::Comparisons() const
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
                         ping.features.bottom ? u", bottom at "_s + PlaceText(ping, *ping.features.bottom)
                                              : QString());
        }
        const std::size_t others = setup.count - setup.pings.size();
        text += u"<figure>\n<h3><span class=\"title\">%1</span><span class=\"faint\">%2 pings</span></h3>\n%3"
                "<figcaption>The area lies between the lowest and the highest of all pings%4.\n<ul>%5</ul>"
                "</figcaption>\n</figure>\n"_s.arg(
                    Code(std::string_view(common).substr(0, common.find('\n'))), QString::number(setup.count),
                    ComparisonSvg(setup.pings, setup.all),
                    others == 0 ? QString() : u", of which the first %1 are drawn"_s.arg(setup.pings.size()),
                    legend);
    }
    return text.isEmpty() ? text : u"<h2>Pings of the same set-up</h2>\n"_s + text;
}

void CHtmlWriter::End(const Summary_T& summary)
{
    QString top = c_Head.toString().arg(HtmlStyle()) +
                  u"<h1>sonarbench report</h1>\n<ul class=\"counts\">\n"_s +
                  u"<li><b>%1</b>runs</li>\n"_s.arg(summary.runs);
    for (std::size_t i = 0; i < c_Outcomes; ++i) {
        top +=
            u"<li><b>%1</b>%2</li>\n"_s.arg(summary.outcomes[i]).arg(OutcomeLabel(static_cast<Outcome>(i)));
    }
    if (summary.unrecognised > 0) {
        top += u"<li><b>%1</b>lines not recognised</li>\n"_s.arg(summary.unrecognised);
    }
    top += u"</ul>\n<h2>Runs</h2>\n<div class=\"scroll\"><table>\n<thead><tr><th>Outcome</th><th>Test</th>"
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
