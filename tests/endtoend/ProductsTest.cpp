#include "tests/endtoend/VirtualUnit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <sstream>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{
const std::string c_VarrowId = "/sys/devices/platform/varrow/product_id";
const std::string c_PelionId = "/sys/devices/platform/pelion/product_id";
const std::string c_BoardId = "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage1_raw";
const std::string c_Module = "/corvane/Application/QuenlorSounder/FPGAFirmware";
const std::string c_Refused = "ERROR: Unknown Product type.\n"
                              "ERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n";
const std::string c_Stopped = "Command = /corvane/Application/KillQLSounder\nOut: ";
/// Products that behave alike.
struct Group_T {
    Words_T products;
    std::string before;   ///< what is printed first
    std::string image;    ///< pattern of the firmware, below /corvane/Application; empty: not supported
    std::string verdicts; ///< of CommandLines(), in their order: Passed, Failed, Operation performed
    std::string device;   ///< that the program writes to; empty: no FPGA is reached
};
void PrintTo(const Group_T& group, std::ostream* out)
{
    for (const std::string& product : group.products) {
        *out << product << ' ';
    }
}

/// The command lines of scripts/commands.txt, but without the seconds that a paddle wheel's readings take.
std::vector<Words_T> CommandLines()
{
    std::vector<Words_T> lines;
    std::istringstream text(Source("scripts/commands.txt"));
    for (std::string line; std::getline(text, line);) {
        std::istringstream words(line == "speed 1" ? "speed -1" : line);
        if (!line.starts_with('#')) {
            lines.emplace_back(std::istream_iterator<std::string>(words),
                               std::istream_iterator<std::string>());
        }
    }
    return lines;
}

// "watertemperature" fails where an FPGA answers, because these links have no ADC readings. It does not fail
// on the QL4K and QL5K, which have no firmware before a load. Operations that a link lacks count as done, so
// a built-in ping passes there, and its samples mean nothing.
const Group_T c_Groups[] = {
    {{"none", "HY05", "HX10", "HX05", "HY10", "HY20", "HY03", "Tq", "Keyboard"},
     c_Refused,
     "",
     "OOOFOPFFFF",
     ""},
    {{"HZ02", "HZ03", "HZ05", "HZ10"}, "", "", "OOOFOPFFFF", ""},
    {{"Varrow", "VarrowX"}, "", "", "OOOPFPPPPF", "ttyO1"},
    {{"QL1A"}, c_Stopped, "QuenlorSounder/FPGAFirmware/QL1A*.bin", "OOOPFPPPPF", "ttyO1"},
    {{"QL2A"}, c_Stopped, "QuenlorSounder/FPGAFirmware/QL2A*.bin", "OOOPFPPPPF", "ttyO1"},
    {{"QL4K", "QL5K"}, "", "QuenlorSounder/FPGAFirmware/QL4K_5K_A2_*", "OOOPOPFPPP", "LSfpga0"},
    {{"QL6M"}, "", "QuenlorSounder/FPGAFirmware/QL6M_A4*", "OOOPFPFPPP", "LSfpga1"},
    {{"LumetV2", "LumetV4", "LumetV6"}, "", "FPGAFirmware/Lumet_FPGA*", "OOOPFPFPPF", "LSfpga0"},
    {{"LumetV5"}, "", "", "OOOPFPFPPF", "LSfpga0"},
    {{"LumetV3", "TessfinV1"}, c_Refused, "FPGAFirmware/Lumet_FPGA*", "OOOFOPFFFF", ""},
    {{"LumetV1"}, "", "FPGAFirmware/LumetLS*", "OOOPFPFFPF", "LSfpga0"},
    {{"Nr1", "Nr2", "Nr3"}, "", "FPGAFirmware/Pleq2_FPGA*.rbf", "OOOPFPFPPF", "LSfpga0"},
};

std::string Verdict(char letter)
{
    return letter == 'P'   ? c_Passed
           : letter == 'F' ? "Test Result: Tests Failed.\n"
                           : "Test Result: Operation Performed.\n";
}

void ExpectOwnFirmware(const UnitRun_T& load, const Group_T& group)
{
    const bool isSupported = !group.image.empty();
    EXPECT_THAT(load.output, StartsWith(group.before + "cat /corvane/Application/" +
                                        (isSupported ? group.image : "FPGAFirmware/") + " > /dev/LSfpga0\n"));
    EXPECT_THAT(load.Report(), StartsWith((isSupported ? "" : "ERROR: Product not supported.\n") +
                                          std::string("Loading FPGA...\nIf unit segfaults")));
    // A Lumet FPGA is reset first: the first bytes written to the node.
    EXPECT_EQ(load.trace.find(" 310a") != std::string::npos, group.image.find("Lumet") != std::string::npos);
}

/// Loads the firmware and shows on standard error what the loading shell inherits, except the models'
/// variables.
const std::string c_LoadAndShowEnvironment =
    "mkdir /tmp/bin; echo 'env | grep -E "
    "\"^(PRODUCT_ID=|FPGA_|QL3B_|SONAR_|PLATF|SOUND|KILL_)\" | LC_ALL=C sort |"
    " tr \"\\n\" \" \" >&2' > /tmp/bin/cat; chmod +x /tmp/bin/cat; "
    "PATH=/tmp/bin:$PATH exec " SONARBENCH_PROGRAM " loadfpgabinary";

const std::string c_First = "FPGA_CHANNEL_0_COMMS=/dev/LSfpga0 ",
                  c_Second = "FPGA_CHANNEL_1_COMMS=/dev/LSfpga1 ",
                  c_Uarts = "FPGA_CHANNEL_0_COMMS= FPGA_CHANNEL_1_COMMS= ", c_Kill = "KILL_MON_QLSOUNDER=0 ",
                  c_Full = c_Kill + "PLATFORM_TYPE=1 ", c_Root = "SOUNDER_ROOT_DIR=/corvane/Application ";

UnitRun_T Load(const CVirtualUnit& unit) { return unit.Run({"loadfpgabinary"}); }
} // namespace

class ProductMatrix : public testing::TestWithParam<Group_T>
{
};
INSTANTIATE_TEST_SUITE_P(Groups, ProductMatrix, testing::ValuesIn(c_Groups),
                         [](const auto& group) { return group.param.products.front(); });

TEST_P(ProductMatrix, EveryCommandEndsAsItShouldOverTheProductsOwnLink)
{
    const auto commands = CommandLines();
    ASSERT_EQ(GetParam().verdicts.size(), commands.size())
        << "a group of c_Groups has a letter for each line of scripts/commands.txt";
    for (const std::string& product : GetParam().products) {
        for (std::size_t i = 0; i < commands.size(); ++i) {
            const auto run = CVirtualUnit(product).Run(commands[i]);
            SCOPED_TRACE(product + " " + commands[i][0] + "\n" + run.output);
            EXPECT_EQ(run.status, 0) << run.errors;
            EXPECT_THAT(run.output, StartsWith(GetParam().before));
            EXPECT_THAT(run.output, EndsWith(Verdict(GetParam().verdicts[i])));
            for (const std::string& write : run.Trace("write")) {
                EXPECT_THAT(write, HasSubstr(" " + GetParam().device + " write "));
            }
            if (commands[i][0] == "loadfpgabinary") {
                EXPECT_EQ(run.Trace("write").empty(), GetParam().device.empty());
                ExpectOwnFirmware(run, GetParam());
            }
        }
    }
}

TEST(Products, TheFpgaLayerFindsTheUnitInTheEnvironment)
{
    const std::pair<CVirtualUnit, std::string> cases[] = {
        {CVirtualUnit("HZ03"), c_First + c_Kill + "PRODUCT_ID=N41008 " + c_Root},
        {CVirtualUnit("Nr2"), c_First + c_Kill + "PRODUCT_ID=N41017 " + c_Root},
        {CVirtualUnit("Varrow"), c_Uarts + c_Full + "PRODUCT_ID=N41001 " + c_Root},
        {CVirtualUnit("LumetV5"), c_First + c_Full + "PRODUCT_ID=N41013 " + c_Root},
        {CVirtualUnit("LumetV3"), c_Kill + c_Root},
        {CVirtualUnit("QL4K").Set(c_BoardId, "361"),
         c_First + c_Full + "PRODUCT_ID=N41006 QL3B_FPGA_SIZE=0 " + c_Root},
        {CVirtualUnit("QL5K").Set(c_BoardId, "362"),
         c_First + c_Full + "PRODUCT_ID=N41005 QL3B_FPGA_SIZE=0 SONAR_BOARD_ID=QL4K_SONAR_BOARD " + c_Root},
        {CVirtualUnit("QL6M"), c_First + c_Second + c_Full + "PRODUCT_ID=N41007 QL3B_FPGA_SIZE=1 " + c_Root}};
    for (const auto& [unit, expected] : cases) {
        EXPECT_EQ(unit.RunScript(c_LoadAndShowEnvironment).errors, expected);
    }
}

TEST(Products, OnAFullSetUpTheFirstIdentityNamesTheUnitEvenIfItNowAnswersDifferently)
{
    struct Row_T {
        const char* firstFile; ///< where the first identity is read
        const char* first;
        const char* second; ///< always in the Varrow file, which decides when it is there
        std::string printed;
        std::string environment;
    };
    const Row_T rows[] = {
        {"pelion", "HZ02", "QL1A", c_Refused, c_Uarts + c_Full + c_Root},
        {"pelion", "HY05", "QL1A", c_Refused, c_Uarts + c_Full + c_Root},
        {"varrow", "LumetV3", "QL3B", "cat ", c_First + c_Full + "PRODUCT_ID=N41011 " + c_Root},
        {"pelion", "NR1", "QL3B", "cat ", c_First + c_Full + "PRODUCT_ID=N41016 " + c_Root},
        {"varrow", "QL3B", "QL1A", "cat ",
         c_First + c_Second + c_Full + "PRODUCT_ID=N41007 QL3B_FPGA_SIZE=1 " + c_Root}};
    for (const Row_T& row : rows) {
        // The first identity comes out of a pipe, whose writer changes the unit before it writes.
        const std::string first = std::string("$places/") + row.firstFile;
        const std::string script =
            "places=$UMOCKDEV_DIR/sys/devices/platform; first=" + first + "/product_id; mkdir -p " + first +
            "; rm -f $places/*/product_id; mkfifo $first\n(exec 3>$first; rm $first; echo " + row.second +
            " >$places/varrow/product_id; echo " + row.first + " >&3) &\n";
        const auto run = CVirtualUnit("QL6M").RunScript(script + c_LoadAndShowEnvironment);
        EXPECT_THAT(run.output, StartsWith(row.printed)) << row.first;
        EXPECT_THAT(run.errors, StartsWith(row.environment)) << row.first;
    }
}

TEST(Products, ImplausibleFirmwareVersionsFailTheLoad)
{
    for (const std::string version : {"0", "255"}) {
        EXPECT_THAT(Load(CVirtualUnit().Option("--firmware-version", version)).Report(),
                    HasSubstr(version +
                              ".0\nERROR: FW major version is suspicious. Ensure firmware has loaded.\n"
                              "ERROR: Failed to get version. FW upgrade failed.\n"));
    }
    EXPECT_THAT(Load(CVirtualUnit().Option("--firmware-version", "254")).Report(),
                EndsWith("Firmware Version: 254.0\n" + c_Passed));
    EXPECT_THAT(Load(CVirtualUnit().Set(c_Module + "/QL4K_5K_A2_1", "no image")).Report(),
                HasSubstr("Firmware Version: 0.0\n"));
    EXPECT_THAT(Load(CVirtualUnit().Remove(c_Module)).Report(),
                StartsWith("ERROR: Required path does not exist: " + c_Module + "\n\n\n\n//"));
    // The shell's end is lost, which counts as a shell that did not start.
    const auto unshelled = CVirtualUnit().RunScript(
        "exec env --ignore-signal=CHLD " SONARBENCH_PROGRAM " \"$@\"", {"loadfpgabinary"});
    EXPECT_THAT(unshelled.Report(), StartsWith("Loading FPGA...\nERROR: Failed to load FPGA with: cat " +
                                               c_Module + "/QL4K_5K_A2_* > /dev/LSfpga0\n\n\n\n//"));
}

TEST(Products, TheBoardReadingTellsTheModulesApart)
{
    const std::string noBoard = "ERROR: No Sonar Board Id.\n" + c_Refused, ql5k = "QL4K_5K_A2_*",
                      ql6m = "QL6M_A4*";
    const std::pair<std::string, std::string> readings[] = {
        {"63", noBoard}, {"64", ql5k}, {"617", ql5k}, {"618", ql6m}, {"867", noBoard}, {"x", noBoard}};
    for (const auto& [reading, text] : readings) {
        EXPECT_THAT(Load(CVirtualUnit("QL4K").Set(c_BoardId, reading)).output, HasSubstr(text)) << reading;
    }
}

TEST(Products, WhatTheUnitLacksIsPrintedBeforeTheReport)
{
    const TemporaryDirectory directory;
    const std::string invalid = "No valid product ID.\n", script = "/corvane/Application/KillQLSounder",
                      moduleScript = "/corvane/Application/QuenlorSounder/KillQLSounder";
    const std::pair<CVirtualUnit, std::string> cases[] = {
        // Only exact identity files are recognised. If there are two, the Varrow file decides, even when it
        // names no product.
        {CVirtualUnit("LumetV1").Copy(c_VarrowId, directory.Write("id", "LumetV1")),
         invalid + invalid + c_Refused},
        {CVirtualUnit("HY05").Set(c_PelionId, "HY99"), "No Product ID found.\n"},
        {CVirtualUnit("Tq").Set(c_PelionId, "Tqxx"), "No valid product ID: Check touchscreen.\n"},
        {CVirtualUnit("LumetV2").Set(c_VarrowId, "VarrowV2"), "-----"},
        {CVirtualUnit("Nr1").Set(c_VarrowId, "HY05"), invalid},
        // An empty identity file names no product.
        {CVirtualUnit("LumetV1").Copy(c_VarrowId, directory.Write("empty", "")),
         invalid + invalid + c_Refused},
        // A display is set up by the second identity, whatever the first was.
        {CVirtualUnit("HZ02").Fault("file-open:1=EIO"), "No Product ID found.\n-----"},
        // The first script that exists stops the sounder.
        {CVirtualUnit("QL2A").Remove(script), "Command = " + moduleScript + "\nOut: -----"},
        {CVirtualUnit("QL2A").Remove(script).Remove(moduleScript), "Failed to kill Quenlor Sonar.\n------"},
        {CVirtualUnit("QL1A").Remove(script).Copy(script, directory.Write("x", "no program")),
         "Command = " + script + "\nERROR: File not found:" + script + "\n------"},
    };
    for (const auto& [unit, text] : cases) {
        EXPECT_THAT(unit.Run({"sensepin"}).output, StartsWith(text));
    }
}
