#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

using testing::EndsWith;
using testing::HasSubstr;

namespace
{
/// A valid file with the first occurrence of a text replaced; unchanged without arguments.
std::string Edited(const std::string& from = "", const std::string& to = "")
{
    return Replaced(Source("tests/golden/xkping_ql4k.txt"), from, to);
}

UnitRun_T RunWith(const std::string& contents, const std::string& name = "table")
{
    const TemporaryDirectory directory;
    return CVirtualUnit("QL4K").Run({"xkping", directory.Write(name, contents), "0", "1"});
}
} // namespace

TEST(TableFileRun, AFileIsOpenedByTheBytesOfItsName)
{
    const auto run = RunWith(Edited(), "t\xc3\xa4 \xff.txt");
    EXPECT_THAT(run.output, HasSubstr("/t\xc3\xa4 \xff.txt 0 1 \n"));
    EXPECT_THAT(run.output, EndsWith(c_Passed));
    // A name with the letters of a placeholder is shown as it is.
    const auto missing = CVirtualUnit("QL4K").Run({"xkping", "/nowhere/%1 %s", "0", "1"});
    EXPECT_THAT(missing.output, HasSubstr("ERROR: Failed to open file:\n/nowhere/%1 %s"));
    EXPECT_THAT(missing.output, HasSubstr("ERROR: Ensure file exists: /nowhere/%1 %s \n"));
    // A missing value is sent as -1 in its register's width.
    EXPECT_THAT(RunWith(Edited("  FpgaInterface->", "FpgaInterface->")).Trace("write"),
                testing::Contains(HasSubstr("CorrelationScaling=0xff")));
}

TEST(TableFileRun, EveryFilterByteNamesItsElementAndBand)
{
    const std::pair<std::string, std::string> cases[] = {
        {"222", "Element: 1 Centre Freq: 2000 & RxBand: PingConfigRxBand_HF\n"},
        {"238", "Element: 1 Centre Freq: 2000 & RxBand: PingConfigRxBand_MF\n"},
        {"245", "Element: 0 Centre Freq: 2000 & RxBand: PingConfigRxBand_LF\n"},
        {"246", "Element: 1 Centre Freq: 2000 & RxBand: PingConfigRxBand_LF\n"},
        {"254", "ERROR: No valid channel filter byte: 254.\n"},
        {"x", "ERROR: No valid channel filter byte: 0.\n"},
    };
    for (const auto& [byte, text] : cases) {
        EXPECT_THAT(RunWith(Edited("222", byte)).output, HasSubstr(text));
    }
}

TEST(TableFileRun, ACountTheFpgaCannotTakeEndsInTheTransportsAssertion)
{
    const auto run = RunWith(Edited("4112", "4100"));
    EXPECT_EQ(run.status, 134);
    EXPECT_THAT(run.errors,
                testing::AllOf(HasSubstr("sonarbench: Utilities/FPGA"),
                               HasSubstr("\"Number of Rx samples not a multiple of 16\"' failed.")));
    EXPECT_THAT(run.output, testing::Not(HasSubstr("Test Result")));
    EXPECT_THAT(RunWith(Edited("4112", "x")).output, HasSubstr("\nSamples: 0 Buffer Bytes: 0\n"));
}
