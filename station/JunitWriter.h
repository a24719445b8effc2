#pragma once

#include "station/RunWriter.h"

#include <QIODevice>
#include <QString>
#include <QXmlStreamWriter>

/// JUnit XML: a suite of one test case a run, so that a suite's counts are known when it begins. A failed
/// unit is a failure, a run that is not judged an error.
class CJunitWriter : public IRunWriter
{
public:
    explicit CJunitWriter(QIODevice& output);

    void Begin() override;
    void Write(const Run_T& run) override;
    void End(const Summary_T& summary) override;

private:
    void WriteProperties(const Run_T& run);
    void WriteCase(const Run_T& run);
    void WriteMessages(const Run_T& run, bool isStandardError);

    QXmlStreamWriter m_Xml;
    QString m_Time; ///< of the reading: the program prints no time
    int m_Id = 0;
};
