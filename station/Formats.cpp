#include "station/Formats.h"

#include "station/CsvWriter.h"
#include "station/HtmlWriter.h"
#include "station/JsonWriter.h"
#include "station/JunitWriter.h"
#include "station/PlotWriter.h"
#include "station/SummaryWriter.h"

#include <type_traits>

namespace
{
template <class Writer>
std::unique_ptr<IRunWriter> Make(QIODevice& output, const View_T& view)
{
    if constexpr (std::is_constructible_v<Writer, QIODevice&, const View_T&>) {
        return std::make_unique<Writer>(output, view);
    } else {
        return std::make_unique<Writer>(output);
    }
}

constexpr Format_T c_Formats[] = {
    {"summary", "Writes a line for each run, and the counts, for people.", Make<CSummaryWriter>},
    {"plot", "Draws the echoes in the terminal, between the lines of the summary.", Make<CPlotWriter>, false},
    {"html", "Writes a page with a table of the runs and the echoes as pictures.", Make<CHtmlWriter>},
    {"json", "Writes the runs as JSON, an object and line each.", Make<CJsonWriter>},
    {"junit", "Writes the runs as JUnit XML, a suite each.", Make<CJunitWriter>},
    {"csv", "Writes the samples as comma-separated values.", Make<CCsvWriter>},
};
} // namespace

std::span<const Format_T> Formats() { return c_Formats; }
