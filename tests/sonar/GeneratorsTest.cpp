#include "sonar/PingMetaData.h"

#include <QFile>
#include <QProcess>
#include <gtest/gtest.h>

namespace
{
QByteArray Generated(const QString& program, const QString& name)
{
    QProcess generator;
    generator.start(program, {name});
    EXPECT_TRUE(generator.waitForFinished());
    return generator.readAllStandardOutput();
}

TEST(Generators, WriteTheExamplesAsTheyAre)
{
    for (const QString& name : {QStringLiteral("short"), QStringLiteral("full")}) {
        QFile example(QStringLiteral(SONARBENCH_EXAMPLES "/%1.txt").arg(name));
        EXPECT_TRUE(example.open(QIODevice::ReadOnly));
        EXPECT_EQ(example.readAll(), Generated(QStringLiteral(SONARBENCH_MAKE_TABLES), name));
    }
}

TEST(Generators, WriteTheFiltersOfTheLumetSettings)
{
    for (const std::string name : {"200long", "350long"}) {
        const CPingMetaData ping = LumetSetting(name).value();
        QByteArray filter;
        for (const CorrelationFilterCoefficientSet_T& entry : ping.m_CorrelationFilter) {
            EXPECT_EQ(entry.first, 0);
            filter += QByteArray::number(entry.second) + ", ";
        }
        EXPECT_EQ(filter.simplified(),
                  Generated(QStringLiteral(SONARBENCH_MAKE_CORRELATION), QString::fromStdString(name))
                      .simplified());
    }
}
} // namespace
