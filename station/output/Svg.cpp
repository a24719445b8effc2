#include "station/output/Svg.h"

#include <QLocale>

#include <cmath>

using namespace Qt::StringLiterals;

namespace
{
QString Coordinate(double value) { return QString::number(value, 'f', 1); }
} // namespace

QString TickText(double value, int decimals)
{
    return QLocale(QLocale::English).toString(value, 'f', decimals);
}

void CPath::LineTo(double x, double y)
{
    const std::array<long, 2> to = {std::lround(x), std::lround(y)};
    // After the first l, and before a minus sign, nothing is needed.
    const auto append = [this](char separator, long number) {
        if (number >= 0 || separator != ' ') {
            m_Text += separator;
        }
        m_Text += std::to_string(number);
    };
    append(m_Points == 0 ? 'M' : m_Points == 1 ? 'l' : ' ', to[0] - m_At[0]);
    append(' ', to[1] - m_At[1]);
    ++m_Points;
    m_At = to;
}

CSvg::CSvg(double width, double height, const QString& label)
    : m_Svg(u"<svg viewBox=\"0 0 %1 %2\" role=\"img\" aria-label=\"%3\">\n"_s.arg(
          Coordinate(width), Coordinate(height), label.toHtmlEscaped()))
{
}

void CSvg::Line(QStringView name, double x1, double y1, double x2, double y2)
{
    m_Svg += u"<line class=\"%1\" x1=\"%2\" y1=\"%3\" x2=\"%4\" y2=\"%5\"/>\n"_s.arg(
        name, Coordinate(x1), Coordinate(y1), Coordinate(x2), Coordinate(y2));
}

void CSvg::Box(QStringView name, double left, double top, double right, double bottom)
{
    m_Svg += u"<rect class=\"%1\" x=\"%2\" y=\"%3\" width=\"%4\" height=\"%5\"/>\n"_s.arg(
        name, Coordinate(left), Coordinate(top), Coordinate(right - left), Coordinate(bottom - top));
}

void CSvg::Shape(QStringView name, const CPath& path, bool isClosed)
{
    m_Svg += u"<path class=\"%1\" transform=\"scale(%2)\" d=\"%3%4\"/>\n"_s.arg(
        name, QString::number(1 / c_PointsPerUnit), QLatin1StringView(path.Text()),
        isClosed ? u"z"_s : QString());
}

void CSvg::Dot(QStringView name, double x, double y, const QString& text)
{
    m_Svg += u"<circle class=\"%1\" cx=\"%2\" cy=\"%3\" r=\"4\"><title>%4</title></circle>\n"_s.arg(
        name, Coordinate(x), Coordinate(y), text.toHtmlEscaped());
}

void CSvg::Text(QStringView name, double x, double y, Anchor anchor, const QString& text)
{
    static constexpr QStringView c_Anchors[] = {u"start", u"middle", u"end"};
    m_Svg += u"<text class=\"%1\" x=\"%2\" y=\"%3\" text-anchor=\"%4\">%5</text>\n"_s.arg(
        name, Coordinate(x), Coordinate(y), c_Anchors[static_cast<std::size_t>(anchor)],
        text.toHtmlEscaped());
}
