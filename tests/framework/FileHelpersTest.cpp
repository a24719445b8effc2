#include "framework/TestControllerBase.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{

using namespace std::string_literals;

class FileHelpers : public testing::Test
{
protected:
    QString PathOf(const std::string& name) const
    {
        return QString::fromLatin1(QByteArray::fromStdString(m_Directory.Path(name)));
    }
    QString FileWith(const std::string& contents) const
    {
        m_Directory.Write("\xb5\xff.txt", contents); // a name that is not valid UTF-8
        return PathOf("\xb5\xff.txt");
    }

    const TemporaryDirectory m_Directory;
    TestControllerBase m_Program;
    std::string m_Output;
};

TEST_F(FileHelpers, ShowAndCompareReadings)
{
    const std::tuple<std::string, const char*, std::string> cases[] = {
        // what is shown; what a comparison with "1" reports
        {"1\n", "1\n\n", ""},
        {"", "Empty File.\n", "Empty File.\n"},
        {"1\n\0z"s, "1\n\n",
         "ERROR: Incorrect File Contents.\nActual Filecontents: 1\n\0z\nExpected Filecontents: 1\n\n"s}};
    for (const auto& [contents, shown, report] : cases) {
        std::string output, compared;
        const QString path = FileWith(contents);
        EXPECT_EQ(m_Program.ShowFileContents(path, &output),
                  contents.empty() ? TEST_FAILED : OPERATION_PERFORMED);
        EXPECT_EQ(output, shown);
        EXPECT_EQ(m_Program.CheckFileContents(path, "1\n", &compared), report.empty());
        EXPECT_EQ(compared, report);
    }
    EXPECT_EQ(m_Program.ShowFileContents(PathOf(""), &m_Output), TEST_FAILED) << "a directory is no reading";
    m_Output.clear();
    EXPECT_FALSE(m_Program.CheckFileContents(PathOf("none"), "1", &m_Output));
    EXPECT_EQ(m_Output, "ERROR: Failed to open file:");
}

TEST_F(FileHelpers, WriteWholeFilesAndReportFailures)
{
    const QString path = FileWith("something longer");
    const QByteArray bytes("a\0b\xff", 4);
    QByteArray back;
    EXPECT_TRUE(m_Program.WriteToFile(path, bytes, &m_Output));
    EXPECT_EQ(m_Program.GetFileContents(path, back, nullptr), OPERATION_PERFORMED);
    EXPECT_EQ(back, bytes);
    EXPECT_EQ(m_Output, "");
    EXPECT_EQ(PrintedBy([&] { EXPECT_TRUE(m_Program.WriteToFile(path, "1", nullptr)); }), "\n");

    const QString unreachable = PathOf("none/switch");
    EXPECT_FALSE(m_Program.WriteToFile(unreachable, "1", &m_Output));
    EXPECT_FALSE(m_Program.WriteToFile(QStringLiteral("/dev/full"), "1", &m_Output));
    EXPECT_EQ(m_Output, "ERROR: Failed to open file:" + unreachable.toStdString() +
                            "\nERROR: Failed to write to file:/dev/full\n");
}

TEST_F(FileHelpers, RunACommandToItsEnd)
{
    const auto run = [&](const QString& command, unsigned int seconds, int quiet, int result) {
        return PrintedBy([&] {
            EXPECT_EQ(m_Program.RunProcess(command, &m_Output, seconds, nullptr, false, quiet), result);
        });
    };
    EXPECT_EQ(run(QString::fromLatin1("printf \"%s\\377\\0y\" %1\xc3\xa9"), 5, 0, OPERATION_PERFORMED),
              "Command = printf \"%s\\377\\0y\" %1\xc3\xa9\nOut: %1\xc3\xa9\xff");
    EXPECT_EQ(run(QStringLiteral("sleep 60"), 1, 1, TEST_FAILED), "");
    EXPECT_EQ(run(QString(), 0, 1, TEST_FAILED), "");
    EXPECT_EQ(m_Output, "ERROR: File not found:\n");
}

} // namespace
