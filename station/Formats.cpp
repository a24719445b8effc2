#include "station/Formats.h"

#include "station/CsvWriter.h"
#include "station/JsonWriter.h"
#include "station/JunitWriter.h"
#include "station/SummaryWriter.h"

namespace
{
template <class Writer>
std::unique_ptr<IRunWriter> Make(QIODevice& output)
{
    return std::make_unique<Writer>(output);
}

constexpr Format_T c_Formats[] = {
    {"summary", "Writes a line for each run, and the counts, for people.", Make<CSummaryWriter>},
    {"json", "Writes the runs as JSON, an object and line each.", Make<CJsonWriter>},
    {"junit", "Writes the runs as JUnit XML, a suite each.", Make<CJunitWriter>},
    {"csv", "Writes the samples as comma-separated values.", Make<CCsvWriter>},
};
} // namespace

std::span<const Format_T> Formats() { return c_Formats; }
