#include "framework/TestControllerBase.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <tuple>

namespace
{

using namespace std::string_literals;

class FileHelpers : public testing::Test
{
protected:
    // QTemporaryDir does not find the names that are no UTF-8 text.
    ~FileHelpers() override { std::filesystem::remove_all(m_Directory.path().toStdString()); }

    QString PathOf(const char* name) const { return m_Directory.path() + u'/' + QString::fromLatin1(name); }
    QString FileWith(const std::string& contents) const
    {
        // The name is no UTF-8 text.
        const QString path = PathOf("\xb5\xff.txt");
        std::ofstream(path.toLatin1().constData(), std::ios::binary) << contents;
        return path;
    }
    /// Runs the call and returns what it printed.
    template <typename Call>
    std::string Printed(Call call)
    {
        testing::internal::CaptureStdout();
        call();
        return testing::internal::GetCapturedStdout();
    }

    QTemporaryDir m_Directory;
    TestControllerBase m_Program;
    std::string m_Output;
};

TEST_F(FileHelpers, ShowAReadingAndFailOnAnEmptyOne)
{
    const std::tuple<std::string, int, const char*> cases[] = {
        {"1234\n", 2, "1234\n\n"}, {"12\0z"s, 2, "12\n"}, {"\0"s, 2, "\n"}, {"", 1, "Empty File.\n"}};
    for (const auto& [contents, result, shown] : cases) {
        std::string output;
        testing::internal::CaptureStdout();
        EXPECT_EQ(m_Program.ShowFileContents(FileWith(contents), &output), result);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(output, shown);
    }
    EXPECT_EQ(m_Program.ShowFileContents(m_Directory.path(), &m_Output), 1) << "a directory is no reading";
}

TEST_F(FileHelpers, ReportAFileThatCannotBeOpened)
{
    const QString missing = PathOf("none\xe9");
    const std::string report = "ERROR: Failed to open file:\n" + missing.toLatin1().toStdString();
    EXPECT_EQ(Printed([&] { EXPECT_EQ(m_Program.ReadFileContents(missing), QString()); }), report);
    EXPECT_FALSE(m_Program.CheckFileContents(missing, "1", &m_Output));
    EXPECT_EQ(m_Output, "ERROR: Failed to open file:");
}

TEST_F(FileHelpers, CompareWholeContents)
{
    const std::pair<std::string, std::string> cases[] = {
        {"1\n", ""},
        {"", "Empty File.\n"},
        {"1\n\0"s,
         "ERROR: Incorrect File Contents.\nActual Filecontents: 1\n\0\nExpected Filecontents: 1\n\n"s}};
    for (const auto& [contents, report] : cases) {
        std::string output;
        EXPECT_EQ(m_Program.CheckFileContents(FileWith(contents), "1\n", &output), report.empty());
        EXPECT_EQ(output, report);
    }
    EXPECT_EQ(Printed([&] { m_Program.CheckFileContents(FileWith("0\n"), "1\n", nullptr); }), "");
}

TEST_F(FileHelpers, WriteWhatIsReadBackAndReportRefusals)
{
    const QString path = FileWith("something longer");
    const QByteArray bytes("a\0b\xff", 4);
    QByteArray back;
    EXPECT_TRUE(m_Program.WriteToFile(path, bytes, &m_Output));
    EXPECT_EQ(m_Program.GetFileContents(path, back, nullptr), 2);
    EXPECT_EQ(back, bytes);
    EXPECT_EQ(m_Output, "");
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(m_Program.WriteToFile(path, "1", nullptr)); }), "\n");

    const QString unreachable = PathOf("none/switch");
    EXPECT_FALSE(m_Program.WriteToFile(unreachable, "1", &m_Output));
    EXPECT_FALSE(m_Program.WriteToFile(QStringLiteral("/dev/full"), "1", &m_Output));
    EXPECT_EQ(m_Output, "ERROR: Failed to open file:" + unreachable.toStdString() +
                            "\nERROR: Failed to write to file:/dev/full\n");
}

TEST_F(FileHelpers, RunACommandToItsEnd)
{
    const auto run = [&](const QString& command, unsigned int seconds, int quiet, int result) {
        return Printed([&] {
            EXPECT_EQ(m_Program.RunProcess(command, &m_Output, seconds, nullptr, false, quiet), result);
        });
    };
    EXPECT_EQ(run(QStringLiteral("printf \"%s\\377\\0y\" %1"), 0, 0, 2),
              "Command = printf \"%s\\377\\0y\" %1\nOut: %1\xff");
    EXPECT_EQ(run(QString::fromLatin1("printf \xc3\xa9"), 5, 0, 2),
              "Command = printf \xc3\xa9\nOut: \xc3\xa9");
    EXPECT_EQ(run(QStringLiteral("sleep 60"), 1, 1, 1), "");
    EXPECT_EQ(m_Output, "");
    for (const QString& command : {PathOf("none"), QString()}) {
        m_Output.clear();
        EXPECT_EQ(run(command, 0, 1, 1), "");
        EXPECT_EQ(m_Output, "ERROR: File not found:" + command.toStdString() + "\n");
    }
}

} // namespace
