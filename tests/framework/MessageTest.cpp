#include "framework/TestControllerBase.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{

struct Program : TestControllerBase {
    void ShowValidArguments(std::string* text) override
    {
        Message("usage<" + *text + ">", nullptr, true, false);
    }
};

TEST(Message, IsAppendedPrintedOrBothButNeverPrintedTwice)
{
    // Whether there is an output text, printNow, addToOutput, the appended text, the printed text.
    const std::tuple<bool, bool, bool, const char*, const char*> cases[] = {
        {true, false, true, "\xe9", ""}, {true, true, true, "\xe9", "\xe9"}, {true, true, false, "", "\xe9"},
        {false, true, true, "", "\xe9"}, {false, false, true, "", "\xe9"},   {true, false, false, "", ""}};
    for (const auto& [hasOutput, printNow, addToOutput, appended, printed] : cases) {
        std::string output;
        testing::internal::CaptureStdout();
        Program().Message(QString::fromLatin1("\xe9"), hasOutput ? &output : nullptr, printNow, addToOutput);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
        EXPECT_EQ(output, appended);
    }
}

TEST(Report, EndsAsItsResultSays)
{
    const std::tuple<std::string, std::string, int, std::string> cases[] = {
        {"a%%b\n", "x ", TEST_PASSED, "a%%b\nTest Result: Test Passed.\n"},
        {"a\n", "", NOT_RECOGNIZED, "a\nusage<>"},
        {"a\n", "x ", NOT_RECOGNIZED, "a\nusage<ERROR: First Parameter not recognized: x >"},
        {"%s%n 5%% %%%d %\n", "x ", 4, "%s%n 5% %%d %\nNO VALID RETURN VALUE\n"}};
    for (const auto& [output, commandLine, result, printed] : cases) {
        testing::internal::CaptureStdout();
        Program().ReportResult(output, commandLine, static_cast<TestResult_T>(result));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    }
}

TEST(Numbers, AreConvertedLaxly)
{
    EXPECT_EQ(TestControllerBase::CharToUnsignedInt(" +42x7"), 42U);
    EXPECT_EQ(TestControllerBase::CharToUnsignedInt("-5"), 4294967291U);
}

} // namespace
