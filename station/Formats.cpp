#include "station/Formats.h"

#include "station/SummaryWriter.h"

namespace
{
template <class Writer>
std::unique_ptr<IRunWriter> Make(QIODevice& output)
{
    return std::make_unique<Writer>(output);
}

constexpr Format_T c_Formats[] = {
    {"summary", "Writes one line a run and the counts.", Make<CSummaryWriter>},
};
} // namespace

std::span<const Format_T> Formats() { return c_Formats; }
