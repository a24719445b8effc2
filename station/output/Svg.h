#pragma once

#include <QString>

#include <array>
#include <string>

/// A number at a tick of an axis: 65,535.
QString TickText(double value, int decimals);

/// A line of a picture, from point to point, in few characters.
class CPath
{
public:
    /// Adds a point; rounded to whole numbers.
    void LineTo(double x, double y);
    /// For the attribute d; empty without points.
    const std::string& Text() const { return m_Text; }

private:
    std::string m_Text;
    std::array<long, 2> m_At = {};
    std::size_t m_Points = 0;
};

/// Where a text is, seen from its place.
enum class Anchor { Start, Middle, End };

/// Writes an element <svg>, piece by piece. Names are classes of the page's style, which defines the looks.
class CSvg
{
public:
    /// @param label  says what the picture shows
    CSvg(double width, double height, const QString& label);

    static constexpr double c_PointsPerUnit = 10;

    void Line(QStringView name, double x1, double y1, double x2, double y2);
    void Box(QStringView name, double left, double top, double right, double bottom);
    /// @param path  with c_PointsPerUnit points in one unit of the picture
    void Shape(QStringView name, const CPath& path, bool isClosed = false);
    /// A dot, with a text for those who point at it.
    void Dot(QStringView name, double x, double y, const QString& text);
    void Text(QStringView name, double x, double y, Anchor anchor, const QString& text);
    /// Ends the element.
    QString Take() const { return m_Svg + QStringLiteral("</svg>\n"); }

private:
    QString m_Svg;
};
