#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>
#include <sstream>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace
{
const std::string c_Table = ContentsOf(SONARBENCH_SOURCE "/tests/golden/xkping_ql4k.txt");

UnitRunResult_T RunWith(const std::string& contents)
{
    const CTestFile file(contents);
    return CVirtualUnit("QL4K").Run({"xkping", file.Path(), "0", "1"});
}

std::string Replaced(const std::string& what, const std::string& by)
{
    std::string table = c_Table;
    return table.replace(table.find(what), what.size(), by);
}
} // namespace

TEST(TableFileRun, AFileCutAfterAnyLineIsReportedByWhatIsMissing)
{
    // The first line that the table's end needs, and what is said as long as it is missing.
    const std::pair<std::string, std::string> stages[] = {
        {"FpgaInterface->SetChannelFilterRegister", "ERROR: Ensure file exists: "},
        {"FpgaInterface->SetTVGTable", "ERROR: Failed to read Chirp Table .\n"},
        {"FpgaInterface->GetBBFilterSubSampleDivisor", "ERROR: Failed to read TVG Table .\n"},
        {"FpgaInterface->SetCorralationDownShift", "ERROR: Failed to read Correlation Filter.\n"},
        // From here on only scalar values are missing, which go out as -1 in their width.
        {"no such line", "Test Result: Test Passed.\n"},
    };
    std::istringstream lines(c_Table);
    std::string cut;
    std::size_t stage = 0;
    for (std::string line; std::getline(lines, line); cut += line + "\n") {
        EXPECT_THAT(RunWith(cut).output, HasSubstr(stages[stage].second)) << "before: " << line;
        if (line.starts_with(stages[stage].first)) {
            ++stage;
        }
    }
    EXPECT_EQ(stage, 4U);
    EXPECT_THAT(RunWith(c_Table).output, EndsWith("Test Result: Test Passed.\n"));
}

TEST(TableFileRun, AMissingValueGoesOutWithAllBitsSet)
{
    const auto run =
        RunWith(Replaced("  FpgaInterface->SetCorralationScaling", "FpgaInterface->SetCorralationScaling"));
    EXPECT_THAT(run.trace, testing::Contains(HasSubstr("CorrelationScaling=0xff")));
    EXPECT_THAT(run.output, EndsWith("Test Result: Test Passed.\n"));
}

TEST(TableFileRun, LineEndsOfOtherSystemsAndStrayBytesAreRead)
{
    std::string table;
    for (const char character : c_Table) {
        table += character == '\n' ? std::string("\r\n") : std::string(1, character);
    }
    EXPECT_THAT(RunWith(table).output, EndsWith("Test Result: Test Passed.\n"));
    EXPECT_THAT(RunWith("\r\xff" + c_Table + std::string("\0garbage", 8)).output,
                EndsWith("Test Result: Test Passed.\n"));
    EXPECT_THAT(RunWith(std::string(1, '\0') + c_Table).output, HasSubstr("ERROR: Ensure file exists: "));
}

TEST(TableFileRun, AFileIsOpenedByTheBytesOfItsName)
{
    const CTestFile file(c_Table, "t\xc3\xa4 \xff.txt");
    const auto run = CVirtualUnit("QL4K").Run({"xkping", file.Path(), "0", "1"});
    EXPECT_THAT(run.output, HasSubstr("\nsonarbench xkping " + file.Path().string() + " 0 1 \n"));
    EXPECT_THAT(run.output, EndsWith("Test Result: Test Passed.\n"));
    // A name that holds the letters of a placeholder is shown as it is.
    const auto missing = CVirtualUnit("QL4K").Run({"xkping", "/nowhere/%1 %s", "0", "1"});
    EXPECT_THAT(missing.output, HasSubstr("ERROR: Failed to open file:\n/nowhere/%1 %s"));
    EXPECT_THAT(missing.output, HasSubstr("ERROR: Ensure file exists: /nowhere/%1 %s \n"));
    // A directory can be opened and not read.
    EXPECT_THAT(CVirtualUnit("QL4K").Run({"xkping", "/usr", "0", "1"}).output,
                HasSubstr("ERROR: Ensure file exists: /usr \n"));
}

TEST(TableFileRun, WrongSizesAreNamed)
{
    const auto chirp = RunWith(Replaced("Details : size 3", "Details : size 4")).output;
    EXPECT_THAT(chirp, HasSubstr("ERROR: Expected size (4) does not match actual size (6)\n"));
    EXPECT_THAT(chirp, HasSubstr("ERROR: Failed to read Chirp Table .\n"));
    const auto header =
        RunWith(Replaced("SetTVGTable: details size: 2", "SetTVGTable: details size 2")).output;
    EXPECT_THAT(header, HasSubstr("ERROR: Start/End Delimiter not found.\nStart Delimiter: "
                                  "\"FpgaInterface->SetChirpTable Details : size \"\nEnd Delimiter: "
                                  "\"FpgaInterface->SetTVGTable: details size: \"\n"));
}

TEST(TableFileRun, CountsTheFpgaCannotTakeEndInTheTransportsAssertion)
{
    struct Case_T {
        std::string samples;
        std::string condition;
    };
    const std::string notMultiple =
        "((NumberOf32bitSamples % 16) == 0) && \"Number of Rx samples not a multiple of 16\"";
    const std::string tooLarge =
        "((NumberOf32bitSamples / 16) <= 0x0000FFFF) && \"Number of Rx Samples requested is too large\"";
    for (const auto& [samples, condition] :
         {Case_T{"4100", notMultiple}, Case_T{"1048576", tooLarge}, Case_T{"x", ""}}) {
        const auto run = RunWith(Replaced("4112", samples));
        if (condition.empty()) { // no number is 0, which is a multiple of 16
            EXPECT_THAT(run.output, HasSubstr("\nSamples: 0 Buffer Bytes: 0\n"));
            continue;
        }
        EXPECT_EQ(run.status, 134);
        EXPECT_THAT(run.errors, HasSubstr("Utilities/FPGAIFCorSPI.cpp:"));
        EXPECT_THAT(run.errors, HasSubstr("Assertion `" + condition + "' failed."));
        EXPECT_THAT(run.output, Not(HasSubstr("Test Result")));
    }
}
