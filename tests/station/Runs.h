#pragma once

#include "station/Transcripts.h"
#include "station/output/Formats.h"

#include <QBuffer>

inline void PrintTo(Outcome outcome, std::ostream* pStream) { *pStream << NameOf(outcome); }

/// Collects the runs of a transcript.
class CRuns : public IRunWriter
{
public:
    explicit CRuns(const std::string& text)
    {
        CTextSource bytes(text);
        ReadTranscript("t", bytes, *this);
    }
    void Write(const Run_T& run) override { m_Runs.push_back(run); }

    const std::vector<Run_T>& All() const { return m_Runs; }
    const Run_T& Only() const { return m_Runs.at(m_Runs.size() == 1 ? 0 : m_Runs.size()); }
    /// Number of good runs.
    std::ptrdiff_t Good() const
    {
        return std::ranges::count_if(m_Runs, [](const Run_T& run) {
            return run.outcome == Outcome::Passed || run.outcome == Outcome::Performed;
        });
    }

private:
    std::vector<Run_T> m_Runs;
};

/// The output of a format's writer for runs that were measured.
inline std::string WrittenAsMeasured(const std::string& format, const std::vector<Run_T>& runs,
                                     const View_T& view = {})
{
    QBuffer output;
    output.open(QIODevice::WriteOnly);
    const auto made = std::ranges::find(Formats(), format, &Format_T::option)->make(output, view);
    made->Begin();
    Summary_T summary;
    for (const Run_T& run : runs) {
        summary.Add(run);
        made->Write(run);
    }
    made->End(summary);
    return output.data().toStdString();
}

/// Measures the runs first.
inline std::string Written(const std::string& format, std::vector<Run_T> runs, const View_T& view = {})
{
    CMeasurer measurer({.sampleClock = view.sampleClock});
    std::ranges::for_each(runs, [&measurer](Run_T& run) { measurer.Measure(run); });
    return WrittenAsMeasured(format, runs, view);
}
