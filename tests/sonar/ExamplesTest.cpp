#include "framework/TestControllerBase.h"
#include "sonar/TableFile.h"

#include <QProcess>
#include <gtest/gtest.h>

namespace
{
using namespace TableKeys;

TEST(Examples, AreWhatTheGeneratorWritesAndHoldAllThatAPingReads)
{
    for (const QString& name : {QStringLiteral("short"), QStringLiteral("full")}) {
        TestControllerBase framework;
        const QString path = QStringLiteral(SONARBENCH_EXAMPLES "/%1.txt").arg(name);
        QProcess generator;
        generator.start(QStringLiteral(SONARBENCH_MAKE_TABLES), {name});
        ASSERT_TRUE(generator.waitForFinished());
        EXPECT_TRUE(framework.CheckFileContents(path, generator.readAllStandardOutput(), nullptr))
            << path.toStdString();

        const CTableFile file = CTableFile::Open(framework, path);
        ChirpTable_T chirp;
        TVGTable_T tvg;
        CorrelationFilterCoefficients_T correlation;
        EXPECT_EQ(file.LoadTables(chirp, tvg, correlation, nullptr), OPERATION_PERFORMED);
        EXPECT_EQ(file.GetValue(c_NumberOfSamples) % 16, 0);
        for (const ScalarKey_T& key :
             {c_ChannelFilter, c_NumberOfSamples, c_SubSampleRate, c_SubSampleThreshold, c_BoostLevel,
              c_FilterSubSampleDivisor, c_FilterSelection, c_FilterScaling, c_FilterCentreFrequency,
              c_CorrelationDownShift, c_CorrelationScaling}) {
            EXPECT_GT(file.GetValue(key), 0) << key.start;
        }
    }
}
} // namespace
