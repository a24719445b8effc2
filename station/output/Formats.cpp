#include "station/output/Formats.h"

namespace
{
constexpr Format_T c_Formats[] = {
    {"summary", "Writes a line for each run, and the counts, for people.", MakeSummaryWriter, true, false},
    {"plot", "Draws the echoes in the terminal, between the lines of the summary.", MakePlotWriter, false},
    {"html", "Writes a page with a table of the runs and the echoes as pictures.", MakeHtmlWriter},
    {"json", "Writes JSON, one object on one line for each run.", MakeJsonWriter},
    {"junit", "Writes JUnit XML, one suite for each run.", MakeJunitWriter},
    {"csv", "Writes the samples as comma-separated values, a row for each ping.", MakeCsvWriter, true, false},
    {"samples", "Writes the samples as comma-separated values, a row for each.", MakeSamplesWriter, true,
     false},
    {"measurements", "Writes the measurements as comma-separated values.", MakeMeasurementsWriter},
};
} // namespace

std::span<const Format_T> Formats() { return c_Formats; }
