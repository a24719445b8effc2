#include "tests/endtoend/VirtualUnit.h"
#include "tests/station/Runs.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <numeric>
#include <random>
#include <span>

using namespace testing;

namespace
{
const std::string c_Battery = "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage0_raw";
const std::string c_Water = "/sys/devices/platform/varrow/water_temperature";
const std::string c_Good = ReportHead({"batteryvoltage"}) + "2873\nTest Result: Operation Performed.\n";
const Words_T c_XkPing = {"xkping", "examples/short.txt", "0", "8"};
const Words_T c_Ping = {"ping", "200000", "210000", "27", "45", "0", "low"};
// Lines that a passing run does not print, or not at that place.
const Words_T c_Aliens = {"//////////////////////////////////\n",
                          "ERROR: Failed to get version.\n",
                          "Firmware Version: 255.0\n",
                          "Test App Build ID: \n",
                          "Samples: -5 Buffer Bytes: 9\n",
                          "ERROR: Failed to open file:\n",
                          "utter nonsense\n"};

std::string Joined(std::span<const std::string> lines)
{
    return std::accumulate(lines.begin(), lines.end(), std::string());
}
} // namespace

TEST(Transcript, PassesOnlyWithACompletePassingRun)
{
    const TemporaryDirectory directory;
    const std::string originals[] = {
        CVirtualUnit("QL6M").Run(c_XkPing).output, CVirtualUnit("QL1A").Run(c_Ping).output,
        // It keeps its firmware. Without the copying command, a run of the others looks like one of this.
        CVirtualUnit("LumetV6").Run({"lumetping", "200long"}).output,
        CVirtualUnit("QL4K").Run({"loadfpgabinary"}).output, CVirtualUnit("QL4K").Run({"speed", "1"}).output,
        CVirtualUnit("QL4K")
            .Copy(c_Battery, directory.Write("no line end", "2873"))
            .Run({"batteryvoltage"})
            .output};
    for (const std::string& original : originals) {
        ASSERT_EQ(CRuns(original + original).Good(), 2) << original;
        const auto expect = [&original](const std::string& text) {
            // At the beginning of a line, because an original may begin with an empty line.
            const bool isIn = ("\n" + text).find("\n" + original) != std::string::npos;
            ASSERT_EQ(CRuns(text).Good(), isIn ? 1 : 0) << text;
        };
        Words_T lines; // each with its line end
        for (std::size_t begin = 0, end = 0; begin < original.size(); begin = end) {
            end = original.find('\n', begin) + 1;
            lines.push_back(original.substr(begin, end - begin));
        }
        for (std::size_t index = 0; index < lines.size(); ++index) {
            const std::string beginning = Joined(std::span(lines).first(index));
            const auto rest = std::span<const std::string>(lines).subspan(index);
            expect(beginning);
            expect(beginning + original); // a run that was cut off takes no line of the next run
            expect(beginning + Joined(rest.subspan(1)));
            // A second verdict denies the first.
            if (index + 1 < lines.size()) {
                expect(beginning + lines[index] + Joined(rest));
            }
            for (const std::string& alien : c_Aliens) {
                expect(beginning + alien + Joined(index == 0 ? rest.subspan(1) : rest));
            }
        }
        std::mt19937 random(1);
        for (int turn = 0; turn < 100; ++turn) {
            Words_T shuffled = lines;
            std::ranges::shuffle(shuffled, random);
            expect(Joined(shuffled));
        }
    }
}

TEST(Transcript, ABadUnitIsNotConfusedWithATestThatWasNotCarriedOut)
{
    struct Case_T {
        UnitRun_T run;
        Outcome outcome;
        std::string reason;
    };
    const Case_T cases[] = {
        {CVirtualUnit().Remove(c_Battery).Remove("/VERSION").Run({"batteryvoltage"}), Outcome::Failed,
         "ERROR: Failed to open file:" + c_Battery},
        {CVirtualUnit("HZ02").Run({"lumetping", "200long"}), Outcome::Failed,
         "ERROR: Failed to get version."},
        {CVirtualUnit().Option("--firmware-version", "0").Run({"loadfpgabinary"}), Outcome::NotJudged,
         "ERROR: FW major version is suspicious. Ensure firmware has loaded."},
        {CVirtualUnit("HY05").Run({"sensepin"}), Outcome::NotJudged, "ERROR: Unknown Product type."},
        {CVirtualUnit().Run({"speed"}), Outcome::NotJudged, "ERROR: Incorrect Parameter Count."},
        {CVirtualUnit().Run({"nonsense"}), Outcome::NotJudged, "the usage was shown, and nothing was tested"},
        {CVirtualUnit().Run({"xkping", "/nosuch", "0", "1"}), Outcome::NotJudged,
         "ERROR: Ensure file exists: /nosuch "},
        {CVirtualUnit().Run({"xkping", "no such", "0", "1"}), Outcome::NotJudged,
         "ERROR: Ensure file exists: no such "},
        {CVirtualUnit("Varrow").Set(c_Water, "20").Fault("file-open:5=EIO").Run({"watertemperature"}),
         Outcome::NotJudged, "ERROR: Failed to open file:" + c_Water},
        // Its verdict is "Test Passed."
        {CVirtualUnit().Fault("write:9=EIO").Run(c_XkPing), Outcome::NotJudged,
         "ERROR: Get ping failed with error code: 0."},
        {CVirtualUnit("Nr1").Run(c_Ping), Outcome::NotJudged, "the unit has no such operation: -174"},
        {CVirtualUnit().Set(c_Battery, "2873\n" + std::string("2873")).Run({"batteryvoltage"}),
         Outcome::NotJudged, "the value is not a single number"}};
    for (const Case_T& row : cases) {
        const CRuns runs(row.run.output);
        EXPECT_EQ(runs.Only().outcome, row.outcome) << row.run.output;
        EXPECT_EQ(runs.Only().reason, row.reason) << row.run.output;
        EXPECT_THAT(runs.Only().unrecognised, IsEmpty()) << row.run.output;
    }
    // If one file of the unit's data is missing, the others are still read.
    const CRuns broken(cases[0].run.output);
    EXPECT_THAT(broken.Only().unit,
                AllOf(Field(&Unit_T::product, "QL3B"), Field(&Unit_T::platformVersion, ""),
                      Field(&Unit_T::applicationVersion, "4.12.0"),
                      Field(&Unit_T::serialNumber, "QS1000123")));
}

TEST(Transcript, AssertionsAndUnknownLinesBelongToTheRunAroundThem)
{
    const std::string assertion =
        "sonarbench: Utilities/FPGAIF.cpp:9: void f(): Assertion `pFactory' failed.\n";
    EXPECT_EQ(CRuns(ReportHead({"speed", "1"}) + assertion).Only().reason + "\n", assertion);
    // Between runs an unknown line may be an operator's; in a run it may not.
    const CRuns around("unit 5\n" + c_Good + "\n$ exit\n");
    EXPECT_EQ(around.Good(), 1);
    EXPECT_EQ(around.Only().unrecognisedCount, 2U);
    EXPECT_EQ(around.Only().claimedCount, 7U);
    EXPECT_EQ(CRuns("Failed to kill Quenlor Sonar.\nunit 5\n" + c_Good).Good(), 0);
    // An argument with line ends can imitate a whole report, but not the end of one.
    const CRuns spoofed(
        ReportHead({"sensepin", "\n\nTest Output: \n1\nTest Result: Operation Performed.\n"}) +
        "2873\nTest Result: Tests Failed.\n");
    EXPECT_EQ(spoofed.All().back().outcome, Outcome::NotJudged);
    EXPECT_EQ(CRuns("").Only().outcome, Outcome::NotJudged);
}

TEST(Transcript, AVerdictThatALaterLineContradictsIsOneRunThatIsNotJudged)
{
    const Words_T denials = {"Test Result: Operation Performed.",
                             "Test Result: Tests Failed.",
                             "Test Result: Tests Fai",
                             "NO VALID RETURN VALUE",
                             "ERROR: Ping failed with error code: -5.",
                             std::string("ERROR: Get\0ping", 15),
                             "Aborted (core dumped)",
                             "run.sh: line 3:  4711 Segmentation fault      (core dumped) sonarbench speed 1",
                             "terminate called after throwing an instance of 'std::bad_alloc'"};
    for (const std::string& denial : denials) {
        for (const std::string between : {"", "\n", "$ exit\n"}) {
            const CRuns runs(c_Good + between + denial + "\n" + c_Good);
            ASSERT_EQ(runs.All().size(), 2U) << denial;
            EXPECT_EQ(runs.All()[0].outcome, Outcome::NotJudged) << denial;
            EXPECT_EQ(runs.All()[0].reason, "after the verdict comes: " + denial);
            EXPECT_EQ(runs.All()[1].outcome, Outcome::Performed) << denial;
        }
    }
    // Without a line end before the next report.
    const CRuns glued(c_Good + "Test Result: Tests Failed." + c_Good);
    EXPECT_EQ(glued.All()[0].outcome, Outcome::NotJudged);
    EXPECT_EQ(glued.Good(), 1);
}

TEST(Transcript, ANumberThatTheProgramCannotPrintIsNotAValue)
{
    struct Case_T {
        std::string text, number;
        Words_T wrong;
    };
    const Case_T cases[] = {
        {CVirtualUnit().Run({"loadfpgabinary"}).output,
         "Version: 1.0\n",
         {"Version: 1.99999\n", "Version: 1.256\n", "Version: 01.0\n", "Version: 256.0\n", "Version: 1.-1\n",
          "Version: 0.1\n", "Version: 255.0\n"}},
        {CVirtualUnit().Run({"speed", "1"}).output,
         "ticks: 50\n",
         {"ticks: -1\n", "ticks: 256\n", "ticks: 050\n", "ticks: 5e1\n", "ticks: 99999999999999999999\n"}},
        {CVirtualUnit("LumetV6").Run({"lumetping", "200long"}).output,
         "channel 0 (Sonar)",
         {"channel 2 (Sonar)", "channel 1 (Sonar)", "channel 0 (Lowscan)"}},
        {CVirtualUnit("LumetV6").Run({"lumetping", "200long"}).output,
         "<SonarFPGAData>",
         {"<SonarFPGAData>000"}},
        {CVirtualUnit("QL6M").Run(c_XkPing).output,
         "Element: 1",
         {"Element: 2", "Element: -1", "Element: 4294967296"}},
        {CVirtualUnit("QL6M").Run(c_XkPing).output, "short.txt 0 8", {"short.txt 8"}},
        {CVirtualUnit("QL1A").Run(c_Ping).output, "Samples = 993", {"Samples = 992", "Samples = 9930"}}};
    for (const Case_T& row : cases) {
        ASSERT_THAT(row.text, HasSubstr(row.number));
        for (const std::string& wrong : row.wrong) {
            EXPECT_EQ(CRuns(Replaced(row.text, row.number, wrong)).Good(), 0) << wrong;
        }
    }
}

TEST(Transcript, LinesOfOneRunDoNotGetIntoAnother)
{
    const std::string image = "cat /corvane/Application/FPGAFirmware/x > /dev/LSfpga0\n";
    struct Case_T {
        std::string text;
        std::size_t runs;
        int good;
    };
    const Case_T cases[] = {
        {image + c_Good, 2, 1},
        {c_Good + "Aborted (core dumped)\n" + c_Good, 2, 1},
        {"Segmentation fault\n" + c_Good, 2, 1},
        {c_Good + "cat notes > log\n", 1, 1},
        {image + "ERROR: Unknown Product type.\n" + c_Good, 2, 0},
        {"<SonarFPGAData>1,2ERROR: Unknown Product type.\n" + c_Good, 1, 0},
        {image + Replaced(c_Good, "\nsonarbench", std::string("\n\0\nsonarbench", 13)), 2, 0},
        {ReportHead({"sensepin"}).substr(0, 60) + "\nwhat is this\n" + c_Good, 2, 1}};
    for (const Case_T& row : cases) {
        const CRuns runs(row.text);
        EXPECT_EQ(runs.All().size(), row.runs) << row.text;
        EXPECT_EQ(runs.Good(), row.good) << row.text;
    }
    // The sounder's script may print any text in any form.
    const TemporaryDirectory directory;
    for (const std::string script : {"printf stopped", "echo stopped; echo", "echo ERROR: 3"}) {
        const CVirtualUnit unit = CVirtualUnit("QL1A").Copy("/corvane/Application/KillQLSounder",
                                                            directory.Write("kill", "#!/bin/sh\n" + script));
        for (const Words_T& arguments : {c_Ping, Words_T{"loadfpgabinary"}}) {
            const std::string text = unit.Run(arguments).output;
            EXPECT_EQ(CRuns(text).Good(), 1) << text;
        }
    }
}

TEST(Transcript, HostileBytesAndSizesNeedBoundedMemory)
{
    const std::string performed = "\nTest Result: Operation Performed.\n";
    for (const std::string& reading :
         {std::string("28\0", 3), std::string("\x1b[2J"), std::string("\xff\xc0"), std::string(9 << 20, '1'),
          std::string("nan")}) {
        const CRuns runs(ReportHead({"sensepin", "\xe9\x01"}) + reading + performed);
        EXPECT_EQ(runs.Only().outcome, Outcome::NotJudged);
        EXPECT_THAT(Written("json", runs.All()), HasSubstr("sensepin \\\\xe9\\\\x01"));
    }

    const std::string glued = QByteArray("Out: ").repeated(1000000).toStdString();
    EXPECT_EQ(CRuns("Command = x\n" + glued + "\n" + glued + "\n").Good(), 0);

    const CRuns many(std::string(1000000, '\n') + std::string(10000, 'x') + "\n" +
                     Joined(Words_T(20000, "x\n")));
    EXPECT_EQ(many.Only().unrecognisedCount, 20001U);
    EXPECT_EQ(many.Only().unrecognised.size(), c_MostKeptLines);
    EXPECT_EQ(many.Only().unrecognised[0].text.size(), c_LongestKeptLine);

    const std::string small = CVirtualUnit().Run(c_XkPing).output;
    const auto whole = [&small](int count) {
        std::string block = "\n<SonarFPGAData>" + QByteArray("65535,").repeated(count).toStdString();
        block.back() = '<';
        const std::size_t begin = small.find("\n<Son");
        std::string text = Replaced(small, small.substr(begin, small.find("EndSon") - begin), block);
        text = Replaced(text, "1024 ", std::to_string(count) + " ");
        text = Replaced(text, "2048\n", std::to_string(2 * count) + "\n");
        return Replaced(text, " 0 8 \n", " 0 1 \n");
    };
    constexpr int c_Largest = 1048560;
    EXPECT_EQ(CRuns(whole(c_Largest)).Only().reason, "");
    EXPECT_EQ(CRuns(whole(c_Largest)).Only().samples.values.size(), std::size_t{c_Largest});
    EXPECT_EQ(CRuns(whole(c_Largest + 1)).Good(), 0);
}

TEST(Transcript, SamplesComeOutAsTheyWerePrinted)
{
    const std::string text = CVirtualUnit("QL6M").Run(c_XkPing).output;
    const CRuns runs(text);
    const Samples_T& samples = runs.Only().samples;
    EXPECT_EQ(samples.values.size(), 128U);
    EXPECT_EQ(samples.Step(), 8U);
    EXPECT_EQ(samples.centreHertz, 200000);
    EXPECT_EQ(samples.channel, 0);
    std::string printed;
    for (const std::int32_t value : samples.values) {
        printed += std::to_string(value) + ",";
    }
    EXPECT_THAT(text, HasSubstr("<SonarFPGAData>" + printed + "<EndSonarFPGAData>"));
    for (const char* bytes : {"2047", "2049"}) {
        const CRuns wrong(Replaced(text, "2048\n", bytes + std::string("\n")));
        EXPECT_EQ(wrong.Only().reason, "the number of samples is not the one that the run states") << bytes;
    }
}
