#include "station/output/Formats.h"

#include "station/output/Text.h"

namespace
{
/// One line for each run, for people, then the counts. On a terminal, the runs that failed or are not judged
/// are repeated before the counts if others came after them, so that they are on the screen.
class CSummaryWriter : public IRunWriter
{
public:
    CSummaryWriter(QIODevice& output, const View_T& view) : m_Output(output), m_View(view) {}

    void Write(const Run_T& run) override
    {
        const std::string text = SummaryText(run, m_View.isColoured);
        m_Output.write(text.data(), static_cast<qint64>(text.size()));
        if (!m_View.isTerminal) {
            return;
        }
        const bool isGood = run.outcome == Outcome::Passed || run.outcome == Outcome::Performed;
        m_IsGoodLast = m_IsGoodLast || (isGood && m_BadRuns > 0);
        if (!isGood && ++m_BadRuns <= c_MostRepeated) {
            m_Repeated += text.substr(0, text.find('\n') + 1);
        }
    }

    void End(const Summary_T& summary) override
    {
        if (m_IsGoodLast) {
            m_Output.write("\nFailed or not judged:\n");
            m_Output.write(m_Repeated.data(), static_cast<qint64>(m_Repeated.size()));
            if (m_BadRuns > c_MostRepeated) {
                m_Output.write("and more, above\n");
            }
        }
        m_Output.write(SummaryText(summary).toUtf8());
    }

private:
    static constexpr std::size_t c_MostRepeated = 20;

    QIODevice& m_Output;
    View_T m_View;
    std::string m_Repeated; ///< first lines of these
    std::size_t m_BadRuns = 0;
    bool m_IsGoodLast = false; ///< a good run came after another
};
} // namespace

std::unique_ptr<IRunWriter> MakeSummaryWriter(QIODevice& output, const View_T& view)
{
    return std::make_unique<CSummaryWriter>(output, view);
}
