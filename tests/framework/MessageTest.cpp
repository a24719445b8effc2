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
    using TestControllerBase::m_OutputStrings;
};

std::string Report(const std::string& output, const std::string& commandLine, int result)
{
    testing::internal::CaptureStdout();
    Program().ReportResult(output, commandLine, static_cast<TestResult_T>(result));
    return testing::internal::GetCapturedStdout();
}

TEST(Message, GoesToTheReportTheConsoleOrBothAndNeverTwice)
{
    // Whether there is an output text, the two flags, what is appended, what is printed.
    const std::tuple<bool, bool, bool, const char*, const char*> cases[] = {
        {true, false, true, "t", ""}, {true, true, true, "t", "t"},  {true, true, false, "", "t"},
        {false, true, true, "", "t"}, {false, false, true, "", "t"}, {true, false, false, "", ""}};
    for (const auto& [hasOutput, printNow, addToOutput, appended, printed] : cases) {
        std::string output;
        testing::internal::CaptureStdout();
        Program().Message(std::string("t"), hasOutput ? &output : nullptr, printNow, addToOutput);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
        EXPECT_EQ(output, appended);
    }
    std::string output;
    Program().Message(QString::fromLatin1("\xe9\xff"), &output, false, true);
    EXPECT_EQ(output, "\xe9\xff") << "text changed its bytes";
}

TEST(Report, EndsWithTheVerdictOfTheResult)
{
    EXPECT_EQ(Report("a%%b\n", "x ", TEST_PASSED), "a%%b\nTest Result: Test Passed.\n");
    EXPECT_EQ(Report("a\n", "x ", OPERATION_PERFORMED), "a\nTest Result: Operation Performed.\n");
    EXPECT_EQ(Report("a\n", "x ", NOT_RECOGNIZED), "a\nusage<ERROR: First Parameter not recognized: x >");
    EXPECT_EQ(Report("a\n", "", NOT_RECOGNIZED), "a\nusage<>");
    EXPECT_EQ(Report("%s%n 5%% %%%d %\n", "x ", 4), "%s%n 5% %%d %\nNO VALID RETURN VALUE\n");
}

TEST(MessageTable, KeepsTheTextsThatStationsMatch)
{
    int filled = 0;
    for (int key = -1; key <= 100; ++key) {
        filled += Program::m_OutputStrings[static_cast<OutputStrings_T>(key)].empty() ? 0 : 1;
    }
    EXPECT_EQ(filled, 67);
    EXPECT_EQ(Program::m_OutputStrings[OUT_VALID_ARGUMENTS],
              Program::m_OutputStrings[OUT_VALID_ARGUMENTS_HEADER]);
    EXPECT_EQ(Program::m_OutputStrings[static_cast<OutputStrings_T>(56)],
              "ERROR: Too many characters. Arbitary paramter limit of 300 characters.");
}

TEST(Numbers, AreConvertedLaxly)
{
    EXPECT_EQ(TestControllerBase::CharToUnsignedInt(" +42x7"), 42U);
    EXPECT_EQ(TestControllerBase::CharToUnsignedInt("-5"), 4294967291U);
    EXPECT_EQ(TestControllerBase::CharToUnsignedInt("high"), 0U);
}

} // namespace
