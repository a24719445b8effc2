#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{
void ExpectUsage(const Words_T& arguments, const std::string& error = "")
{
    const auto run = CVirtualUnit().Run(arguments);
    EXPECT_THAT(run.output,
                StartsWith(ReportHead(arguments) + error +
                           "\nTest App Build ID: \nTest App Version: 0.0\n\n\nERROR: First Parameter not "
                           "recognized: sonarbench " +
                           WithBlanks(arguments) +
                           "\n\nValid arguments are as follows: \n\n./sonarbench batteryvoltage"));
    EXPECT_THAT(run.output, EndsWith("\n./sonarbench 6mping <channel> (Example: ./sonarbench 6mping 0 )\n"));
}

/// The unit data block of a failed run on an unchanged QL4K.
std::string UnitData(const std::string& argumentsWithBlanks)
{
    return "\n\n\n//////////////////////////////////\nUnit Data for bug reports: "
           "\nCommand:\t\t\tsonarbench " +
           argumentsWithBlanks +
           "\nPlatfrom: \t\t\tQL3B"
           "\n\nTest App Build ID:\t\t\nTest App Version:\t\t0.0\nMFD Application Version: \t4.12.0\n"
           "Platform Version: \t\t2.6.1\nSerial Number: \t\t\tQS1000123\n//////////////////////////////////\n"
           "Test Result: Tests Failed.\n";
}
} // namespace

TEST(FrontEnd, AnUnknownCommandShowsTheUsageAndNoVerdict)
{
    ExpectUsage({"6mping", "0"});
    ExpectUsage({"BatteryVoltage"});
    // Bytes that are not valid text in any encoding come out as they went in.
    ExpectUsage({"\xff\xfe\xc3\x28\xa0"});
}

TEST(FrontEnd, AWrongNumberOfArgumentsFailsTheRun)
{
    const Words_T commands[] = {{"xkping", "file", "0"},
                                {"xkping", "file", "0", "5", "6"},
                                {"lowscanping"},
                                {"lumetping", "200", "x"},
                                {"ping", "1", "2", "3", "4", "0"}};
    for (const auto& arguments : commands) {
        EXPECT_EQ(CVirtualUnit().Run(arguments).output, ReportHead(arguments) +
                                                            "ERROR: Incorrect Parameter Count.\n" +
                                                            UnitData(WithBlanks(arguments)));
    }
    // Only speed shows the usage.
    ExpectUsage({"speed"}, "ERROR: Incorrect Parameter Count.\n");
}

TEST(FrontEnd, AWrongWordIsReported)
{
    EXPECT_THAT(CVirtualUnit().Run({"lowscanping", "400"}).output,
                HasSubstr("Test Output: \nERROR: Start freq must be 200, 350, 350long or 200long.\n\n\n//"));
    const auto gain = CVirtualUnit().Run({"ping", "200000", "210000", "27", "45", "0", "max"}).output;
    EXPECT_THAT(gain, StartsWith("max is not a valid Analogue Gain level.\n-----"));
    EXPECT_THAT(gain, EndsWith("Test Result: Tests Failed.\n"));
    EXPECT_THAT(CVirtualUnit().Run({"ping", "200000", "210000", "27", "45", "0", "MEDIUM"}).output,
                StartsWith("3\n---"));
}

TEST(FrontEnd, ArgumentsAreNotUsedAsAFormat)
{
    // Percent signs are printed as they are, except that two of them become one, as in a format.
    const auto percent = CVirtualUnit().Run({"%n%s%100000d", "100%%"});
    EXPECT_EQ(percent.status, 0);
    EXPECT_THAT(percent.output, HasSubstr("\nsonarbench %n%s%100000d 100% \n\nTest Output: \n"));
}

TEST(FrontEnd, ASonarThatCannotBeEnabledFailsEveryCommand)
{
    const std::string path = "/sys/devices/platform/varrow/sonar_power";
    EXPECT_EQ(CVirtualUnit().Remove(path).Run({"nonsense"}).output,
              "ERROR: Path does not exist: " + path + "\n" + ReportHead({"nonsense"}) +
                  "ERROR: Cannot enable Sonar.\n" + UnitData("nonsense "));
    // Not even root can write to a directory.
    const auto run = CVirtualUnit().Remove(path).Set(path + "/x", "").Run({"batteryvoltage"});
    EXPECT_THAT(run.output,
                HasSubstr("ERROR: Cannot enable Sonar.\nERROR: Failed to open file:" + path + "\n\n\n\n//"));
}

TEST(FrontEnd, TheUnitDataShowsAMessageForAMissingVersionFile)
{
    const auto run = CVirtualUnit().Remove("/VERSION").Remove("/corvane/Config/SerialNumber").Run({"xkping"});
    const std::string missing = "ERROR: Failed to open file:\n";
    EXPECT_THAT(run.output, StartsWith(missing + "/VERSION" + missing + "/corvane/Config/SerialNumber-----"));
    EXPECT_THAT(run.output, HasSubstr("Platform Version: \t\t" + missing + "/VERSIONSerial Number: \t\t\t" +
                                      missing + "/corvane/Config/SerialNumber//////"));
}

TEST(FrontEnd, SensorFilesAreShownAsTheyAre)
{
    const std::string inputs = "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/";
    const std::pair<std::string, std::string> commands[] = {{"batteryvoltage", "in_voltage0_raw"},
                                                            {"lcdtemperature", "in_voltage1_raw"},
                                                            {"sensepin", "in_voltage4_raw"}};
    for (const auto& [command, file] : commands) {
        EXPECT_EQ(CVirtualUnit("Varrow").Set(inputs + file, "1234").Run({command, "ignored"}).output,
                  ReportHead({command, "ignored"}) + "1234\n\nTest Result: Operation Performed.\n");
    }
}
