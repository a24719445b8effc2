#pragma once

#include "station/RunWriter.h"

#include <QIODevice>

/// The samples as comma-separated values, a row each, below a row of names; lines end as RFC 4180 wants it.
class CCsvWriter : public IRunWriter
{
public:
    explicit CCsvWriter(QIODevice& output) : m_Output(output) {}

    void Begin() override;
    void Write(const Run_T& run) override;

private:
    QIODevice& m_Output;
};
