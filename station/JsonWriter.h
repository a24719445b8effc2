#pragma once

#include "station/RunWriter.h"

#include <QIODevice>

/// One JSON object a run and line, as station/report.schema.json describes it.
class CJsonWriter : public IRunWriter
{
public:
    explicit CJsonWriter(QIODevice& output) : m_Output(output) {}

    void Write(const Run_T& run) override;

private:
    QIODevice& m_Output;
};
