#include "station/output/SvgPlot.h"

#include "station/output/Svg.h"

#include <algorithm>
#include <cassert>
#include <cmath>

using namespace Qt::StringLiterals;

namespace
{
// The picture, in its own units; the page scales it.
constexpr double c_Width = 960;
constexpr double c_Left = 76;
constexpr double c_Right = 884;
constexpr double c_RingDownRow = 16; ///< base lines of the text above the plot
constexpr double c_BottomRow = 34;
constexpr double c_Top = 44;
constexpr double c_Bottom = 264;
constexpr double c_SampleRow = 283; ///< base lines of the numbers
constexpr double c_RangeLine = 298;
constexpr double c_RangeRow = 317;
constexpr double c_TickLength = 5;
constexpr double c_TextGap = 10;

constexpr int c_MostLevels = 7;
constexpr int c_MostPlaces = 12;

/// Draws echoes of the same number of samples into one frame.
class CSvgPlot : private CSvg
{
public:
    /// @param ping    for the axes
    /// @param extent  everything that must be visible
    CSvgPlot(const Ping_T& ping, const Envelope_T& extent, Scale scale)
        : CSvg(c_Width, (ping.metres > 0 ? c_RangeRow : c_SampleRow) + c_TextGap,
               scale == Scale::Decibels ? u"Amplitude in decibels over the sample"_s
                                        : u"Amplitude over the sample"_s),
          m_Ping(ping), m_Scale(scale),
          m_Last(static_cast<double>(std::max<std::size_t>(extent.samples, 2) - 1)),
          m_Low(scale == Scale::Decibels ? LowestDecibels(ping)
                                         : std::min(*std::ranges::min_element(extent.low), 0)),
          m_High(Level(std::max(*std::ranges::max_element(extent.high), ping.fullScale)))
    {
    }

    void Axes()
    {
        Text(u"axis", c_Left - c_TextGap, c_BottomRow, Anchor::End,
             m_Scale == Scale::Decibels ? u"dB"_s : u"amplitude"_s);
        const Ticks_T levels = Ticks(m_Low, m_High, c_MostLevels);
        for (const double level : levels.values) {
            Line(u"grid", c_Left, Y(level), c_Right, Y(level));
            Text(u"tick", c_Left - c_TextGap, Y(level) + 4, Anchor::End, TickText(level, levels.decimals));
        }
        const double full = Y(Level(m_Ping.fullScale));
        Line(u"limit", c_Left, full, c_Right, full);
        Text(u"full", c_Right + c_TextGap, full + 4, Anchor::Start, u"full scale"_s);
        PlaceAxis(u"sample"_s, c_Bottom, c_SampleRow, static_cast<double>(m_Ping.step));
        if (m_Ping.metres > 0) {
            PlaceAxis(u"range, m"_s, c_RangeLine, c_RangeRow, m_Ping.metres);
        }
    }

    void Echo(const Envelope_T& echo, QStringView lineClass)
    {
        if (echo.IsExact()) {
            TopLine(echo, lineClass);
        } else {
            Band(echo, lineClass);
        }
    }

    void Band(const Envelope_T& echo, QStringView bandClass)
    {
        CPath path = UpperEdge(echo);
        for (std::size_t column = echo.low.size(); column-- > 0;) {
            path.LineTo(PointX(echo, column), PointY(echo.low[column]));
        }
        Shape(bandClass, path, true);
    }

    void TopLine(const Envelope_T& echo, QStringView lineClass) { Shape(lineClass, UpperEdge(echo)); }

    /// The marks, below the echo.
    void Marks()
    {
        if (m_Ping.ringDownEnd) {
            const double x = X(static_cast<double>(*m_Ping.ringDownEnd));
            Box(u"ringdown", c_Left, c_Top, x, c_Bottom);
            Text(u"name", c_Left, c_RingDownRow, Anchor::Start,
                 u"ring-down to "_s + PlaceText(m_Ping, *m_Ping.ringDownEnd));
        }
        if (m_Ping.bottom) {
            const double x = X(static_cast<double>(*m_Ping.bottom));
            Line(u"bottom", x, c_Top, x, c_Bottom);
            const bool isLeft = x < (c_Left + c_Right) / 2;
            Text(u"name", x, c_BottomRow, isLeft ? Anchor::Start : Anchor::End,
                 u"bottom at "_s + PlaceText(m_Ping, *m_Ping.bottom));
        }
    }

    using CSvg::Take;

private:
    double X(double sample) const { return c_Left + sample / m_Last * (c_Right - c_Left); }
    /// On the axis.
    double Level(std::int32_t value) const
    {
        return m_Scale == Scale::Decibels ? DecibelsOf(m_Ping, value) : value;
    }
    double Y(double level) const
    {
        return c_Bottom - (level - m_Low) / (m_High - m_Low) * (c_Bottom - c_Top);
    }

    double PointX(const Envelope_T& echo, std::size_t column) const
    {
        const double samplesInOne = static_cast<double>(echo.samples) / static_cast<double>(echo.high.size());
        return X((static_cast<double>(column) + 0.5) * samplesInOne - 0.5) * c_PointsPerUnit;
    }
    /// A limit may be above what is visible.
    double PointY(std::int32_t value) const
    {
        return Y(std::clamp(Level(value), m_Low, m_High)) * c_PointsPerUnit;
    }

    CPath UpperEdge(const Envelope_T& echo) const
    {
        CPath path;
        for (std::size_t column = 0; column < echo.high.size(); ++column) {
            path.LineTo(PointX(echo, column), PointY(echo.high[column]));
        }
        return path;
    }

    /// @param scale  of the axis' numbers, for one printed sample
    void PlaceAxis(const QString& name, double line, double row, double scale)
    {
        Line(u"frame", c_Left, line, c_Right, line);
        Text(u"axis", c_Left - c_TextGap, row, Anchor::End, name);
        const Ticks_T places = Ticks(0, m_Last * scale, c_MostPlaces);
        for (const double place : places.values) {
            const double x = X(place / scale);
            Line(u"frame", x, line, x, line + c_TickLength);
            Text(u"tick", x, row, Anchor::Middle, TickText(place, places.decimals));
        }
    }

    const Ping_T& m_Ping;
    Scale m_Scale;
    double m_Last; ///< index of the last printed sample, at least 1
    double m_Low;  ///< on the axis
    double m_High;
};
} // namespace

QString PingSvg(const Ping_T& ping, Scale scale)
{
    CSvgPlot plot(ping, ping.envelope, scale);
    plot.Axes();
    if (ping.band != nullptr) {
        plot.Band(*ping.band, u"tolerance");
    }
    plot.Marks();
    plot.Echo(ping.envelope, ping.envelope.IsExact() ? u"echo" : u"band");
    return plot.Take();
}

QString ComparisonSvg(const std::vector<Ping_T>& pings, const Envelope_T& all, Scale scale)
{
    assert(!pings.empty() && pings.size() <= c_ComparedPings);
    CSvgPlot plot(pings.front(), all, scale);
    plot.Axes();
    plot.Band(all, u"spread");
    for (std::size_t i = 0; i < pings.size(); ++i) {
        plot.TopLine(pings[i].envelope, u"echo series%1"_s.arg(i + 1));
    }
    return plot.Take();
}
