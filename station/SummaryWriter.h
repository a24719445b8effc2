#pragma once

#include "station/RunWriter.h"

#include <QIODevice>
#include <QString>

/// The line of a run, and those that were not recognised in it; printable.
QString SummaryText(const Run_T& run);
/// The counts in one line.
QString SummaryText(const Summary_T& summary);

/// One line a run for people, then the counts: what happened to how many.
class CSummaryWriter : public IRunWriter
{
public:
    explicit CSummaryWriter(QIODevice& output) : m_Output(output) {}

    void Write(const Run_T& run) override;
    void End(const Summary_T& summary) override;

private:
    QIODevice& m_Output;
};
