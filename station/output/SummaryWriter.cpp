#include "station/output/Formats.h"

#include "station/output/Text.h"

namespace
{
/// One line for each run, for people, then the counts.
class CSummaryWriter : public IRunWriter
{
public:
    explicit CSummaryWriter(QIODevice& output) : m_Output(output) {}

    void Write(const Run_T& run) override
    {
        const std::string text = SummaryText(run);
        m_Output.write(text.data(), static_cast<qint64>(text.size()));
    }
    void End(const Summary_T& summary) override { m_Output.write(SummaryText(summary).toUtf8()); }

private:
    QIODevice& m_Output;
};
} // namespace

std::unique_ptr<IRunWriter> MakeSummaryWriter(QIODevice& output, const View_T&)
{
    return std::make_unique<CSummaryWriter>(output);
}
