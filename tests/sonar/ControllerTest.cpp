#include "sonar/SonarTestController.h"

#include <gtest/gtest.h>
#include <memory>

namespace
{
TEST(Controller, OffAUnitWhatFailsIsTold)
{
    testing::internal::CaptureStdout();
    CSonarTestController controller; // on a machine that is no unit
    TestResult_T result = TEST_PASSED;
    controller.HandleReturn(0, result);
    EXPECT_EQ(result, TEST_PASSED);
    controller.HandleReturn(-109, result);
    EXPECT_EQ(result, TEST_FAILED);
    std::string output;
    EXPECT_EQ(controller.EnableSonar(&output), OPERATION_PERFORMED);
    EXPECT_EQ(output, "Non-Varrow platform. Sonar may not be enabled.\n");
    EXPECT_EQ(controller.GetSize(QStringLiteral("size 3"), QStringLiteral("size ")), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ERROR: Unknown Product type.\n"
              "ERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n"
              "Call to Lowscan function from CSonarTestController Failed, return value: -109\n"
              "ERROR: Size Delimiter not found.\nSize Delimiter: \"size \"\n");
}

TEST(Controller, ReadsTablesFromTextAndKeepsTheBytesOfATextForTheEnvironment)
{
    const QString text = QStringLiteral("table size 2\n1, 0x2,\n3, 4\nend");
    EXPECT_EQ(
        CSonarTestController().GetPairs(text, QStringLiteral("size "), QStringLiteral("end")),
        (QList<QString>{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("4")}));
    const std::unique_ptr<char[]> bytes(
        CSonarTestController::StringFromQString(QString::fromLatin1("\xe9=\xff")));
    EXPECT_STREQ(bytes.get(), "\xe9=\xff");
}
} // namespace
