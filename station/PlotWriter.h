#pragma once

#include "station/RunWriter.h"
#include "station/View.h"

#include <QIODevice>

/// Columns of a terminal that a plot can do with; narrower and wider ones are taken for these.
inline constexpr int c_NarrowestPlot = 30;
inline constexpr int c_WidestPlot = 1000;

/// The summary's lines, and below that of each run its echo, drawn with the characters of a terminal. Bytes
/// of the transcript reach it only as printable text.
class CPlotWriter : public IRunWriter
{
public:
    CPlotWriter(QIODevice& output, const View_T& view);

    void Write(const Run_T& run) override;
    void End(const Summary_T& summary) override;

private:
    void Print(QString text);

    QIODevice& m_Output;
    View_T m_View;
};
