#pragma once

#include "station/TranscriptReader.h"

#include <QBuffer>

/// Keeps the runs of a transcript.
class CRuns : public IRunWriter
{
public:
    explicit CRuns(const std::string& text)
    {
        QBuffer device;
        device.setData(QByteArray::fromStdString(text));
        device.open(QIODevice::ReadOnly);
        ReadTranscript("t", device, *this);
    }
    void Write(const Run_T& run) override { m_Runs.push_back(run); }

    const std::vector<Run_T>& All() const { return m_Runs; }
    const Run_T& Only() const { return m_Runs.at(m_Runs.size() == 1 ? 0 : m_Runs.size()); }
    /// How many of them are good.
    std::ptrdiff_t Good() const
    {
        return std::ranges::count_if(m_Runs, [](const Run_T& run) {
            return run.outcome == Outcome::Passed || run.outcome == Outcome::Performed;
        });
    }

private:
    std::vector<Run_T> m_Runs;
};
