#include "station/output/PageEchoes.h"

#include "station/judge/Limits.h"
#include "station/judge/Measurements.h"
#include "station/output/Text.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace
{
/// The number of bytes that are shown of a unit's text.
constexpr std::size_t c_LongestText = 300;
constexpr std::size_t c_LongestCharacter = 4; ///< bytes of UTF-8

constexpr double c_LeastPings = 8; ///< of a set-up, to call one an outlier

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

/// By Group.
struct GroupText_T {
    const char16_t* name;
    const char16_t* style;
};
constexpr std::array<GroupText_T, c_Groups> c_GroupTexts = {
    {{u"Failed", u"failed"}, {u"Not judged", u"notjudged"}, {u"Marginal", u"marginal"}, {u"Good", u"good"}}};

QString Code(std::string_view bytes) { return QString::fromStdString("<code>" + Shown(bytes) + "</code>"); }

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
        text += u"; band "_s + QString::fromStdString(Shown(samples.band));
    }
    return text;
}

/// Both scales; the style shows the one that is chosen.
template <class Draw>
QString BothScales(Draw draw)
{
    return u"<div class=\"scroll\" tabindex=\"0\" role=\"group\" aria-label=\"Picture\"><div class=\"db\">\n"_s +
           draw(Scale::Decibels) + u"</div><div class=\"linear\">\n"_s + draw(Scale::Linear) +
           u"</div></div>\n"_s;
}
} // namespace

Group GroupOf(const Run_T& run)
{
    if (run.outcome == Outcome::Failed) {
        return Group::Failed;
    }
    if (run.outcome == Outcome::NotJudged) {
        return Group::NotJudged;
    }
    return std::ranges::find(run.limits, Fit::Marginal, &LimitResult_T::fit) != run.limits.end()
               ? Group::Marginal
               : Group::Good;
}

QString NameOf(Group group) { return QString::fromUtf16(c_GroupTexts[static_cast<std::size_t>(group)].name); }

QString ClassOf(Group group)
{
    return QString::fromUtf16(c_GroupTexts[static_cast<std::size_t>(group)].style);
}

std::string Shown(std::string_view bytes)
{
    std::string text;
    const bool isLong = bytes.size() > c_LongestText;
    AppendMarkup(text, isLong ? bytes.substr(0, CutBefore(bytes, c_LongestText)) : bytes);
    return isLong ? text + "\u2026" : text;
}

void CPageEchoes::Spread_T::Add(double value)
{
    const double before = value - mean;
    mean += before / ++count;
    squares += before * (value - mean);
}

double CPageEchoes::Spread_T::Distance(double value) const
{
    const double deviation = count < c_LeastPings ? 0 : std::sqrt(squares / (count - 1));
    // Rounding can leave a deviation to equal values.
    return deviation > std::abs(mean) * 1e-9 ? std::abs(value - mean) / deviation : 0;
}

CPageEchoes::Outlier_T CPageEchoes::OutlierOf(const Setup_T& setup,
                                              const std::vector<Quantity_T>& measurements)
{
    Outlier_T outlier;
    for (const Quantity_T& measured : measurements) {
        const auto spread = setup.spreads.find(measured.name);
        const double distance = spread == setup.spreads.end() ? 0 : spread->second.Distance(measured.value);
        if (distance > outlier.distance) {
            outlier = {distance, measured.name};
        }
    }
    return outlier;
}

CPageEchoes::Setup_T* CPageEchoes::SetupOf(const Run_T& run)
{
    const Samples_T& samples = run.samples;
    Bytes_T common = TestOf(run) + '\n' + samples.band;
    for (const double number :
         {static_cast<double>(samples.values.size()), static_cast<double>(samples.taken),
          static_cast<double>(samples.FullScale()), samples.centreHertz, static_cast<double>(samples.element),
          static_cast<double>(samples.channel)}) {
        common += '\n' + NumberBytes(number);
    }
    const auto found = m_Setups.find(common);
    if (found == m_Setups.end() && m_Setups.size() >= c_MostSetups) {
        return nullptr;
    }
    return &(found == m_Setups.end() ? m_Setups[common] : found->second);
}

void CPageEchoes::Add(const Run_T& run)
{
    static const Setup_T alone;
    Setup_T* const pSetup = SetupOf(run);
    const auto group = static_cast<std::size_t>(GroupOf(run));
    const Outlier_T outlier = pSetup == nullptr ? Outlier_T() : OutlierOf(*pSetup, run.measurements);
    std::vector<Picture_T>& pictures = m_Pictures.at(group);
    const auto least = std::ranges::min_element(
        pictures, {}, [](const Picture_T& picture) { return picture.outlier.distance; });
    ++m_Counts.at(group);
    const bool isFull = pictures.size() >= c_MostPictures;
    const bool isDrawn = !isFull || outlier.distance > least->outlier.distance;
    Ping_T ping = MakePing(run, m_View, c_PlotColumns);
    if (isDrawn) {
        if (isFull) {
            pictures.erase(least);
        }
        const auto measured =
            std::span(run.measurements).first(std::min(run.measurements.size(), MeasurementRows().size()));
        const QLatin1StringView law(run.receiverLaw);
        pictures.push_back(
            {outlier,
             pSetup == nullptr ? &alone : pSetup,
             {measured.begin(), measured.end()},
             ping,
             u"<span class=\"title\">%1</span><span class=\"mark %2\">%3</span><span class=\"faint\">%4 %5</span>"_s
                 .arg(Code(TestOf(run)), ClassOf(GroupOf(run)), NameOf(GroupOf(run)),
                      QString::fromStdString(Shown(UnitOf(run))), ping.title.toHtmlEscaped()),
             SamplesText(ping) + HeardText(run.samples) +
                 (law.isEmpty() ? QString() : u"; decibels for a %1 receiver"_s.arg(law))});
    }
    if (pSetup == nullptr) {
        return;
    }
    for (const Quantity_T& measured : run.measurements) {
        pSetup->spreads[measured.name].Add(measured.value);
    }
    if (pSetup->count++ == 0) {
        pSetup->all = ping.envelope;
    }
    pSetup->all.Include(ping.envelope);
    if (pSetup->pings.size() < c_ComparedPings) {
        pSetup->pings.push_back(std::move(ping));
    }
}

QString CPageEchoes::Comparisons() const
{
    QString text;
    for (const auto& entry : m_Setups) {
        const std::string_view common = entry.first;
        const Setup_T& setup = entry.second;
        if (setup.count < 2) {
            continue;
        }
        QString legend;
        for (std::size_t i = 0; i < setup.pings.size(); ++i) {
            const Ping_T& ping = setup.pings[i];
            legend += u"<li><svg class=\"key\" viewBox=\"0 0 40 10\" aria-hidden=\"true\"><line class=\"echo "
                      "series%1\" x1=\"0\" y1=\"5\" x2=\"40\" y2=\"5\"/></svg>%2%3</li>\n"_s.arg(i + 1)
                          .arg(ping.title.toHtmlEscaped(),
                               ping.bottom ? u", bottom at "_s + PlaceText(ping, *ping.bottom) : QString());
        }
        const std::size_t others = setup.count - setup.pings.size();
        text +=
            u"<figure>\n<h3><span class=\"title\">%1</span><span class=\"faint\">%2 pings</span></h3>\n%3"
            "<figcaption>The area is between the lowest and the highest samples of all "
            "pings%4.\n<ul>%5</ul></figcaption>\n</figure>\n"_s.arg(
                Code(common.substr(0, common.find('\n'))), QString::number(setup.count),
                BothScales([&setup](Scale scale) { return ComparisonSvg(setup.pings, setup.all, scale); }),
                others == 0 ? QString() : u", of which the first %1 are drawn"_s.arg(setup.pings.size()),
                legend);
    }
    return text.isEmpty() ? text : u"<h2>Pings of the same set-up</h2>\n"_s + text;
}

void CPageEchoes::Write(QIODevice& output)
{
    if (std::ranges::all_of(m_Counts, [](std::size_t count) { return count == 0; })) {
        return;
    }
    output.write("<h2 id=\"echoes\">Echoes</h2>\n<fieldset><legend>Amplitude</legend>"
                 "<label><input type=\"radio\" name=\"scale\" id=\"decibels\" checked> in dB</label>"
                 "<label><input type=\"radio\" name=\"scale\" id=\"linear\"> linear</label></fieldset>\n"
                 "<section id=\"pings\">\n");
    std::size_t number = 0;
    for (std::size_t group = 0; group < c_Groups; ++group) {
        std::vector<Picture_T>& pictures = m_Pictures.at(group);
        for (Picture_T& picture : pictures) {
            picture.outlier = OutlierOf(*picture.pSetup, picture.measurements);
        }
        std::ranges::stable_sort(pictures, std::ranges::greater(),
                                 [](const Picture_T& picture) { return picture.outlier.distance; });
        for (const Picture_T& picture : pictures) {
            const Outlier_T& outlier = picture.outlier;
            QString figure = u"<figure id=\"ping%1\">\n<h3>%2</h3>\n"_s.arg(++number).arg(picture.title);
            if (outlier.distance > 0) {
                figure += u"<p>%1 is %2 standard deviations from the mean of %3 pings.</p>\n"_s.arg(
                    QLatin1StringView(outlier.measurement), QString::number(outlier.distance, 'f', 1),
                    QString::number(picture.pSetup->count));
            }
            figure += BothScales([&picture](Scale scale) { return PingSvg(picture.ping, scale); }) +
                      u"<figcaption>"_s + picture.caption + u"<ul>"_s;
            for (const Quantity_T& measured : picture.measurements) {
                figure += u"<li>"_s + QuantityText(measured).toHtmlEscaped() + u"</li>"_s;
            }
            output.write((figure + u"</ul></figcaption>\n</figure>\n"_s).toUtf8());
        }
        if (const std::size_t others = m_Counts.at(group) - pictures.size(); others > 0) {
            output.write(
                u"<p class=\"faint\">%1 more pings (%2) are not drawn here; those above differ most from "
                "others of their set-up.</p>\n"_s
                    .arg(QString::number(others), NameOf(static_cast<Group>(group)).toLower())
                    .toUtf8());
        }
    }
    output.write("</section>\n");
    output.write(Comparisons().toUtf8());
}
