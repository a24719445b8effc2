#include "station/output/Formats.h"

#include "station/output/Picture.h"
#include "station/output/Text.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace
{
constexpr int c_Rows = 8;
constexpr int c_DecibelRows = 10;
constexpr int c_LabelWidth = 8; ///< columns left of the plot, with the axis

/// The characters of a plot: a cell from empty to full, and the axes.
struct Characters_T {
    QStringView cells;
    char16_t vertical;
    char16_t horizontal;
    char16_t corner;
};

constexpr Characters_T c_Unicode = {u" ▁▂▃▄▅▆▇█", u'│', u'─', u'└'};
constexpr Characters_T c_Ascii = {u" .:#", u'|', u'-', u'+'};

/// A plot in the making.
struct Canvas_T {
    const Ping_T& ping;
    const Characters_T& characters;
    int cellsOfColumn; ///< cells that an envelope's column is wide
    bool isLinear;
    QString text = {};

    int Width() const { return static_cast<int>(ping.envelope.high.size()) * cellsOfColumn; }
    int Rows() const { return isLinear ? c_Rows : c_DecibelRows; }
    /// On the axis.
    double Level(std::int32_t value) const { return isLinear ? value : DecibelsOf(ping, value); }
    double Top() const
    {
        return Level(std::max(ping.fullScale, *std::ranges::max_element(ping.envelope.high)));
    }
    /// In decibels, the tens below the quietest column.
    double Bottom() const
    {
        constexpr double tens = 10;
        const double quietest = Level(*std::ranges::min_element(ping.envelope.high));
        return isLinear ? 0 : std::min(std::floor(quietest / tens), -1.0) * tens;
    }
    int Cell(std::size_t sample) const
    {
        return static_cast<int>(ping.envelope.Column(sample)) * cellsOfColumn;
    }

    void Line(const QString& label, char16_t axis, const QString& content)
    {
        QString line = label.rightJustified(c_LabelWidth - 2) + u' ' + axis + content;
        while (line.endsWith(u' ')) {
            line.chop(1);
        }
        text += line + u'\n';
    }
};

/// One row of cells; row 0 is the lowest.
QString Cells(const Canvas_T& canvas, int row)
{
    const auto steps = static_cast<double>(canvas.characters.cells.size() - 1);
    const Envelope_T& echo = canvas.ping.envelope;
    const double bottom = canvas.Bottom();
    QString content;
    for (const std::int32_t value : echo.high) {
        const double height = (canvas.Level(value) - bottom) * canvas.Rows() / (canvas.Top() - bottom);
        const double filled = std::clamp(height - row, 0.0, 1.0);
        const auto cell = static_cast<qsizetype>(std::lround(filled * steps));
        content += QString(canvas.cellsOfColumn, QChar(canvas.characters.cells[cell]));
    }
    return content;
}

void Amplitudes(Canvas_T& canvas)
{
    const QString top = QString::number(canvas.Top(), 'f', 0) + (canvas.isLinear ? u""_s : u" dB"_s);
    for (int row = canvas.Rows() - 1; row >= 0; --row) {
        canvas.Line(row == canvas.Rows() - 1 ? top : u""_s, canvas.characters.vertical, Cells(canvas, row));
    }
    canvas.Line(QString::number(canvas.Bottom(), 'f', 0), canvas.characters.corner,
                QString(canvas.Width(), QChar(canvas.characters.horizontal)));
}

/// The first and the last place, at the ends of the axis.
void Places(Canvas_T& canvas)
{
    const std::size_t last = canvas.ping.envelope.samples - 1;
    const auto ends = [&](const QString& name, const QString& end) {
        canvas.Line(name, u' ', u"0"_s + end.rightJustified(canvas.Width() - 1));
    };
    ends(u"sample"_s, QString::number(last * canvas.ping.step));
    if (canvas.ping.metres > 0) {
        ends(u"m"_s, RangeText(canvas.ping, last));
    }
}

void Marks(Canvas_T& canvas)
{
    QString marks(canvas.Width(), u' ');
    QStringList names;
    const auto mark = [&](std::optional<std::size_t> sample, char16_t sign, const QString& name) {
        if (sample) {
            marks[canvas.Cell(*sample)] = sign;
            names += QString(QChar(sign)) + u' ' + name + u' ' + PlaceText(canvas.ping, *sample);
        }
    };
    mark(canvas.ping.ringDownEnd, u'R', u"ring-down to"_s);
    mark(canvas.ping.bottom, u'B', u"bottom at"_s);
    if (!names.isEmpty()) {
        canvas.Line(u""_s, u' ', marks);
        canvas.text += names.join(u", "_s) + u'\n';
    }
}

/// "smallest 7 counts, largest 65535 counts, noiseFloor 49.4 counts"
QString LevelsText(const Run_T& run)
{
    QStringList texts;
    for (const char* const name : {"smallest", "largest", "clippedShare", "noiseFloor", "bottomLevel"}) {
        const auto found = std::ranges::find(run.measurements, std::string_view(name), &Quantity_T::name);
        if (found != run.measurements.end()) {
            texts += QuantityText(*found);
        }
    }
    return texts.join(u", "_s);
}

/// The summary's lines, and below the line of each run its echo, drawn with the characters of a terminal.
/// Bytes of the transcript reach the terminal only as printable text.
class CPlotWriter : public IRunWriter
{
public:
    CPlotWriter(QIODevice& output, const View_T& view) : m_Output(output), m_View(view)
    {
        m_View.width = std::clamp(m_View.width, c_NarrowestPlot, c_WidestPlot);
    }

    void Write(const Run_T& run) override
    {
        Print(QString::fromStdString(SummaryText(run, m_View.isColoured)));
        if (run.samples.values.empty()) {
            return;
        }
        const int width = m_View.width - c_LabelWidth;
        const Ping_T ping = MakePing(run, m_View, static_cast<std::size_t>(width));
        const int columns = static_cast<int>(ping.envelope.high.size());
        Canvas_T canvas{ping, m_View.isAscii ? c_Ascii : c_Unicode, width / columns, m_View.isLinear};
        Amplitudes(canvas);
        Places(canvas);
        Marks(canvas);
        Print(canvas.text + LevelsText(run) + u"\n\n"_s);
    }

    void End(const Summary_T& summary) override { Print(SummaryText(summary)); }

private:
    void Print(QString text)
    {
        if (m_View.isAscii) {
            std::ranges::replace_if(
                text, [](QChar character) { return character.unicode() >= 0x80; }, QChar(u'?'));
        }
        m_Output.write(text.toUtf8());
    }

    QIODevice& m_Output;
    View_T m_View;
};
} // namespace

std::unique_ptr<IRunWriter> MakePlotWriter(QIODevice& output, const View_T& view)
{
    return std::make_unique<CPlotWriter>(output, view);
}
