#include "tests/endtoend/VirtualUnit.h"

#include <gmock/gmock.h>
#include <sstream>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{
const std::string c_VarrowId = "/sys/devices/platform/varrow/product_id";
const std::string c_PelionId = "/sys/devices/platform/pelion/product_id";
const std::string c_BoardId = "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/in_voltage1_raw";
const std::string c_Refused = "ERROR: Unknown Product type.\n"
                              "ERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n";
const std::string c_Display = "/corvane/Application/FPGAFirmware";
const std::string c_Module = "/corvane/Application/QuenlorSounder/FPGAFirmware";

/// What a product does before the report and with its firmware.
struct ProductCase_T {
    std::string name;
    bool isSetUp;
    std::string image;         ///< what is loaded, below the directories above
    bool isSupported = true;   ///< an image exists for the product
    bool hasTransport = false; ///< the FPGA answers to its version register
};

const ProductCase_T c_Products[] = {
    {"none", false, c_Display + "/", false},
    {"HY05", false, c_Display + "/", false},
    {"HX10", false, c_Display + "/", false},
    {"HX05", false, c_Display + "/", false},
    {"HY10", false, c_Display + "/", false},
    {"HY20", false, c_Display + "/", false},
    {"HY03", false, c_Display + "/", false},
    {"HZ02", true, c_Display + "/", false},
    {"HZ03", true, c_Display + "/", false},
    {"HZ05", true, c_Display + "/", false},
    {"HZ10", true, c_Display + "/", false},
    {"Varrow", true, c_Display + "/", false},
    {"VarrowX", true, c_Display + "/", false},
    {"Tq", false, c_Display + "/", false},
    {"Keyboard", false, c_Display + "/", false},
    {"QL1A", true, c_Module + "/QL1A*.bin"},
    {"QL2A", true, c_Module + "/QL2A*.bin"},
    {"QL4K", true, c_Module + "/QL4K_5K_A2_*", true, true},
    {"QL5K", true, c_Module + "/QL4K_5K_A2_*", true, true},
    {"QL6M", true, c_Module + "/QL6M_A4*", true, false}, // its version is read from the second FPGA
    {"LumetV4", true, c_Display + "/Lumet_FPGA*"},
    {"LumetV1", true, c_Display + "/LumetLS*"},
    {"LumetV2", true, c_Display + "/Lumet_FPGA*"},
    {"LumetV3", false, c_Display + "/Lumet_FPGA*"},
    {"LumetV5", true, c_Display + "/", false},
    {"LumetV6", true, c_Display + "/Lumet_FPGA*"},
    {"TessfinV1", false, c_Display + "/Lumet_FPGA*"},
    {"Nr1", true, c_Display + "/Pleq2_FPGA*.rbf"},
    {"Nr2", true, c_Display + "/Pleq2_FPGA*.rbf"},
    {"Nr3", true, c_Display + "/Pleq2_FPGA*.rbf"},
};
} // namespace

TEST(Products, EachShowsItsSensorsAndLoadsItsFirmware)
{
    for (const ProductCase_T& product : c_Products) {
        SCOPED_TRACE(product.name);
        const bool stops = product.name == "QL1A" || product.name == "QL2A";
        const std::string before = stops             ? "Command = /corvane/Application/KillQLSounder\nOut: "
                                   : product.isSetUp ? ""
                                                     : c_Refused;
        const auto sensor = CVirtualUnit(product.name).Run({"sensepin"});
        EXPECT_EQ(sensor.status, 0) << sensor.errors;
        EXPECT_EQ(sensor.output,
                  before + ReportHead({"sensepin"}) + "3071\n\nTest Result: Operation Performed.\n");

        const auto load = CVirtualUnit(product.name).Run({"loadfpgabinary"});
        EXPECT_EQ(load.status, 0) << load.errors;
        EXPECT_THAT(load.output, StartsWith(before + "cat " + product.image + " > /dev/LSfpga0\n"));
        EXPECT_THAT(load.output, HasSubstr(std::string("Test Output: \n") +
                                           (product.isSupported ? "" : "ERROR: Product not supported.\n") +
                                           "Loading FPGA...\nIf unit segfaults"));
        const bool passes = product.hasTransport || product.name == "QL6M";
        EXPECT_THAT(load.output,
                    HasSubstr(passes ? "Firmware Version: 1.0\nTest Result: Test Passed.\n"
                                     : "ERROR: Failed to get version.\nERROR: Failed to get version. FW "
                                       "upgrade failed.\n"));
    }
}

TEST(Products, ImplausibleFirmwareVersionsFailTheLoad)
{
    for (const std::string version : {"0", "255"}) {
        EXPECT_THAT(
            CVirtualUnit("QL4K").Option("--firmware-version").Option(version).Run({"loadfpgabinary"}).output,
            HasSubstr("Firmware Version: " + version +
                      ".0\nERROR: FW major version is suspicious. Ensure firmware has loaded.\nERROR: Failed "
                      "to get version. FW upgrade failed.\n"));
    }
    EXPECT_THAT(
        CVirtualUnit("QL4K").Option("--firmware-version").Option("254").Run({"loadfpgabinary"}).output,
        EndsWith("Firmware Version: 254.0\nTest Result: Test Passed.\n"));
    // Not an image of this product, and none at all.
    const std::string image = c_Module + "/QL4K_5K_A2_1";
    EXPECT_THAT(CVirtualUnit("QL4K").Set(image, "noise").Run({"loadfpgabinary"}).output,
                HasSubstr("Firmware Version: 0.0\n"));
    EXPECT_THAT(CVirtualUnit("QL4K").Remove(image).Run({"loadfpgabinary"}).output,
                HasSubstr("Firmware Version: 0.0\n"));
    EXPECT_THAT(CVirtualUnit("QL4K").Remove(c_Module).Run({"loadfpgabinary"}).output,
                HasSubstr("Test Output: \nERROR: Required path does not exist: " + c_Module + "\n\n\n\n//"));
}

TEST(Products, TheBoardReadingTellsTheModulesApart)
{
    const std::pair<std::string, std::string> readings[] = {{"63", ""},      {"64", "QL5K"},  {"361", "QL5K"},
                                                            {"362", "QL4K"}, {"617", "QL4K"}, {"618", "QL6M"},
                                                            {"866", "QL6M"}, {"867", ""},     {"x", ""}};
    const std::pair<std::string, std::string> images[] = {
        {"QL5K", "QL4K_5K_A2_*"}, {"QL4K", "QL4K_5K_A2_*"}, {"QL6M", "QL6M_A4*"}};
    for (const auto& [reading, module] : readings) {
        const auto output = CVirtualUnit("QL4K").Set(c_BoardId, reading).Run({"loadfpgabinary"}).output;
        if (module.empty()) {
            EXPECT_THAT(output,
                        StartsWith("ERROR: No Sonar Board Id.\nERROR: No Sonar Board Id.\n" + c_Refused))
                << reading;
        }
        for (const auto& [name, image] : images) {
            if (name == module) {
                EXPECT_THAT(output, HasSubstr("cat " + c_Module + "/" + image)) << reading;
            }
        }
    }
}

TEST(Products, OnlyExactIdentityFilesAreRecognised)
{
    const auto first = [](CVirtualUnit& unit) { return unit.Run({"sensepin"}).output; };
    const std::string invalid = "No valid product ID.\n";
    const CTestFile withoutLineEnd("LumetV1");
    EXPECT_THAT(first(CVirtualUnit("LumetV1").Copy(c_VarrowId, withoutLineEnd.Path())),
                StartsWith(invalid + invalid + c_Refused));
    EXPECT_THAT(first(CVirtualUnit("HY05").Set(c_PelionId, "HY99")), StartsWith("No Product ID found.\n"));
    EXPECT_THAT(first(CVirtualUnit("Tq").Set(c_PelionId, "Tqxx")),
                StartsWith("No valid product ID: Check touchscreen.\n"));
    EXPECT_THAT(first(CVirtualUnit("LumetV2").Set(c_VarrowId, "VarrowV2")), StartsWith("-----"));
    // With both files, the first one decides even when it names nothing.
    EXPECT_THAT(first(CVirtualUnit("Nr1").Set(c_VarrowId, "HY05")), StartsWith(invalid));
}

TEST(Products, TheSounderIsStoppedByTheFirstScriptThereIs)
{
    const std::string script = "/corvane/Application/KillQLSounder";
    const std::string moduleScript = "/corvane/Application/QuenlorSounder/KillQLSounder";
    EXPECT_THAT(CVirtualUnit("QL2A").Remove(script).Run({"sensepin"}).output,
                StartsWith("Command = " + moduleScript + "\nOut: ------"));
    EXPECT_THAT(CVirtualUnit("QL2A").Remove(script).Remove(moduleScript).Run({"sensepin"}).output,
                StartsWith("Failed to kill Quenlor Sonar.\n------"));
    const CTestFile unrunnable("not a program");
    EXPECT_THAT(CVirtualUnit("QL1A").Remove(script).Copy(script, unrunnable.Path()).Run({"sensepin"}).output,
                StartsWith("Command = " + script + "\nERROR: File not found:" + script + "\n------"));
}
