#include "sonar/TableFile.h"
#include "framework/TestControllerBase.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>

namespace
{
using testing::HasSubstr;

/// A valid file with the first occurrence of a text replaced; unchanged with empty texts.
std::string Edited(const std::string& from, const std::string& to)
{
    std::ifstream file("tests/golden/xkping_ql4k.txt");
    return Replaced({std::istreambuf_iterator<char>(file), {}}, from, to);
}

class TableFiles : public testing::Test
{
protected:
    CTableFile Open(const std::string& text)
    {
        return CTableFile::Open(m_Framework, QString::fromLatin1(m_Directory.Write("table", text)));
    }

    /// The result, the entries of the three tables, the appended text and the printed text.
    std::string Load(const std::string& text)
    {
        ChirpTable_T chirp;
        TVGTable_T tvg;
        CorrelationFilterCoefficients_T correlation;
        std::string output;
        std::string seen;
        const std::string printed = PrintedBy(
            [&] { seen = std::to_string(Open(text).LoadTables(chirp, tvg, correlation, &output)); });
        const auto list = [&seen](const auto& table) {
            for (const auto& [first, second] : table) {
                seen += " " + std::to_string(first) + "," + std::to_string(second);
            }
            seen += " |";
        };
        list(chirp), list(tvg), list(correlation);
        return seen + output + printed;
    }

    TemporaryDirectory m_Directory;
    TestControllerBase m_Framework;
};

TEST_F(TableFiles, EveryLayoutLoadsAndEveryDamageIsReported)
{
    const std::string valid = "2 16,512 17,513 43981,32513 | 10,20 255,1 | -12,7 5,-3 |";
    const std::string noChirp = "1 | | |ERROR: Failed to read Chirp Table .\n";
    const std::string mismatch =
        "1 16,512 17,513 43981,32513 | | |ERROR: Failed to read TVG Table .\nERROR: Expected size (";
    const std::pair<std::string, std::string> cases[] = {
        {Edited("", ""), valid},
        {Edited("END ----------------\n", std::string(1, '\0')) + Edited("10, 20", "x"), valid},
        {Edited("0x0010, 0x0200\n0x0011", "10,200, 0x 0011,\r\n\r\n"), valid},
        {Edited("0x0010, 0x0200\n0x0011", "1F0010, +512\n 80000000"),
         "2 16,1298 0,513 43981,32513 | 10,20 255,1 | -12,7 5,-3 |"},
        {Edited("10, 20\n255", "266, 0x20\n-1"), valid},
        {Edited("-12, 7", "65524, x"), "2 16,512 17,513 43981,32513 | 10,20 255,1 | -12,0 5,-3 |"},
        // Up to four separators are one; each four more are an empty number.
        {Edited("10, 20", "10,\n,\n20"), valid},
        {Edited("10, 20", "10,\n,,\n20"), mismatch + "2) does not match actual size (5)\n"},
        {Edited("10, 20", "10,,,,,,,,20"), mismatch + "2) does not match actual size (5)\n"},
        {Edited("10, 20", "10,,,,,,,,,20"), mismatch + "2) does not match actual size (6)\n"},
        {Edited("10, 20", "\n10, 20"), mismatch + "2) does not match actual size (5)\n"},
        {Edited("255, 1", "255, 1,,,"), valid},
        {Edited("255, 1", "255, 1,,,,"), mismatch + "2) does not match actual size (5)\n"},
        {Edited("255, 1", "255"), mismatch + "2) does not match actual size (3)\n"},
        {Edited("size: 2", "size: 900"), mismatch + "900) does not match actual size (4)\n"},
        {Edited("size: 2", "size: two"), mismatch + "0) does not match actual size (4)\n"},
        {Edited("SetTVGTable:", "SetTVGTable"),
         noChirp + "ERROR: Start/End Delimiter not found.\n"
                   "Start Delimiter: \"FpgaInterface->SetChirpTable Details : size \"\n"
                   "End Delimiter: \"FpgaInterface->SetTVGTable: details size: \"\n"},
        {"FpgaInterface->SetTVGTable: details size: FpgaInterface->SetChirpTable Details : size 2",
         noChirp + "ERROR: Data not found.\n"},
        {"", "1 | | |ERROR: Ensure file exists: " + m_Directory.Path("table") + " \n"}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(Load(text), expected) << text;
    }
}

TEST_F(TableFiles, AHugeFileIsRead)
{
    const std::string filler(QByteArray("FpgaInterface->SetNothing( 1);\n").repeated(500000));
    const std::string numbers(QByteArray("0x0001, 0x0002,\n\n").repeated(500000));
    EXPECT_THAT(Load(filler + Edited("size 3\n", "size 500003\n" + numbers)),
                HasSubstr("1,2 16,512 17,513 43981,32513 | 10,20 255,1 | -12,7 5,-3 |"));
}

TEST_F(TableFiles, AValueIsReadAsTheLogWritesIt)
{
    const std::pair<std::string, int> cases[] = {
        {"( 5);\n", 5},          {"(5);\n", 0}, {"(  1 5 );\n", 15}, {"( -7);\n", -7},
        {"( 2147483648);\n", 0}, {"();\n", 0},  {"( 5);", -1}};
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(Open(Edited("( 91);\n", text)).GetValue(TableKeys::c_BoostLevel), value) << text;
    }
    // Only the indented line gives the scaling. Nothing lies between a start and an end before it.
    const CTableFile file = Open(Edited("  Fpga", "Fpga"));
    EXPECT_EQ(file.GetValue(TableKeys::c_CorrelationScaling), -1);
    EXPECT_EQ(file.GetValue({TableKeys::c_BoostLevel.start, TableKeys::c_SubSampleRate.end}), 0);
}
} // namespace
