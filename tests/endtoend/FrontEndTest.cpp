#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{
constexpr char c_Usage[] =
    "\nTest App Build ID: \nTest App Version: 0.0\n\n\n"
    "ERROR: First Parameter not recognized: sonarbench %s\n\nValid arguments are as follows: \n\n"
    "./sonarbench batteryvoltage (Example: ../sonarbench batteryvoltage)\n"
    "./sonarbench lcdtemperature (Example: ../sonarbench lcdtemperature)\n"
    "./sonarbench watertemperature (Example: ../sonarbench watertemperature)\n"
    "./sonarbench speed <duration> (0 = infinite) (Example: ../sonarbench speed 5)\n"
    "./sonarbench sensepin (Example: ../sonarbench sensepin)\n"
    "./sonarbench loadfpgabinary (Example: ./sonarbench loadfpgabinary)\n"
    "./sonarbench ping <Start Frequency> <End Frequency> <Depth> <Period> <Channel> <AnalogueGain: high | "
    "Medium "
    "| low> (Example: ./sonarbench ping 200000 210000 27 45 0 medium)\n"
    "./sonarbench lowscanping <Freq 200 | 350 | 200long | 350long > (Example: ./sonarbench lowscanping "
    "200long )\n"
    "./sonarbench xkping Filename Channel IncrementBy (Example: ./sonarbench xkping 200kHPShort.txt 0 5)\n"
    "./sonarbench 6mping <channel> (Example: ./sonarbench 6mping 0 )\n";

std::string Usage(const std::string& argumentsWithBlanks)
{
    std::string text = c_Usage;
    return text.replace(text.find("%s"), 2, argumentsWithBlanks);
}

/// The block of a failed run on a unit as it leaves the factory.
std::string UnitData(const std::string& argumentsWithBlanks, const std::string& identity)
{
    return "\n\n\n//////////////////////////////////\nUnit Data for bug reports: "
           "\nCommand:\t\t\tsonarbench " +
           argumentsWithBlanks + "\nPlatfrom: \t\t\t" + identity +
           "\n\nTest App Build ID:\t\t\nTest App Version:\t\t0.0\nMFD Application Version: \t4.12.0\n"
           "Platform Version: \t\t2.6.1\nSerial Number: \t\t\tQS1000123\n//////////////////////////////////\n"
           "Test Result: Tests Failed.\n";
}
} // namespace

TEST(FrontEnd, AnUnknownCommandShowsTheUsageAndNoVerdict)
{
    EXPECT_EQ(CVirtualUnit().Run({"6mping", "0"}).output, ReportHead({"6mping", "0"}) + Usage("6mping 0 "));
    EXPECT_EQ(CVirtualUnit().Run({}).output, ReportHead({}) + Usage(""));
    EXPECT_EQ(CVirtualUnit().Run({"BatteryVoltage"}).output,
              ReportHead({"BatteryVoltage"}) + Usage("BatteryVoltage "));
}

TEST(FrontEnd, AWrongNumberOfArgumentsFailsTheRun)
{
    const std::vector<std::string> commands[] = {{"xkping", "file", "0"},
                                                 {"xkping", "file", "0", "5", "6"},
                                                 {"lowscanping"},
                                                 {"lumetping", "200", "x"},
                                                 {"ping", "1", "2", "3", "4", "0"}};
    for (const auto& arguments : commands) {
        std::string words;
        for (const std::string& argument : arguments) {
            words += argument + " ";
        }
        EXPECT_EQ(CVirtualUnit().Run(arguments).output,
                  ReportHead(arguments) + "ERROR: Incorrect Parameter Count.\n" + UnitData(words, "QL3B"));
    }
    // Alone among the commands, speed shows the usage.
    EXPECT_EQ(CVirtualUnit().Run({"speed"}).output,
              ReportHead({"speed"}) + "ERROR: Incorrect Parameter Count.\n" + Usage("speed "));
}

TEST(FrontEnd, WrongWordsAreNamed)
{
    EXPECT_THAT(CVirtualUnit().Run({"lowscanping", "400"}).output,
                HasSubstr("Test Output: \nERROR: Start freq must be 200, 350, 350long or 200long.\n\n\n//"));
    const auto gain = CVirtualUnit().Run({"ping", "200000", "210000", "27", "45", "0", "max"}).output;
    EXPECT_THAT(gain, StartsWith("max is not a valid Analogue Gain level.\n-----"));
    EXPECT_THAT(gain, EndsWith("Test Result: Tests Failed.\n"));
    EXPECT_THAT(CVirtualUnit().Run({"ping", "200000", "210000", "27", "45", "0", "MEDIUM"}).output,
                StartsWith("3\n---"));
}

TEST(FrontEnd, ArgumentsCannotSteerTheReport)
{
    // Percent signs stay, except that two of them are one, as where this text is a format.
    const auto percent = CVirtualUnit().Run({"%n%s%100000d", "100%%"});
    EXPECT_EQ(percent.status, 0);
    EXPECT_THAT(percent.output, HasSubstr("\nsonarbench %n%s%100000d 100% \n\nTest Output: \n"));
    // Bytes that are no text in any encoding come out as they went in.
    const std::string bytes = "\xff\xfe\xc3\x28\xa0";
    EXPECT_EQ(CVirtualUnit().Run({bytes}).output, ReportHead({bytes}) + Usage(bytes + " "));
}

TEST(FrontEnd, ASonarThatCannotBeEnabledFailsEveryCommand)
{
    const std::string path = "/sys/devices/platform/varrow/sonar_power";
    for (const std::string command : {"batteryvoltage", "nonsense"}) {
        const auto run = CVirtualUnit().Remove(path).Run({command});
        EXPECT_EQ(run.output, "ERROR: Path does not exist: " + path + "\n" + ReportHead({command}) +
                                  "ERROR: Cannot enable Sonar.\n" + UnitData(command + " ", "QL3B"));
    }
    // A directory cannot be written, whoever tries.
    const auto run = CVirtualUnit().Remove(path).Set(path + "/x", "").Run({"batteryvoltage"});
    EXPECT_THAT(run.output,
                HasSubstr("ERROR: Cannot enable Sonar.\nERROR: Failed to open file:" + path + "\n\n\n\n//"));
}

TEST(FrontEnd, MissingVersionFilesStandInTheUnitDataAsMessages)
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
