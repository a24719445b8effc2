#include "framework/Products.h"

#include <algorithm>
#include <iterator>

namespace
{
using UnitPaths::c_ModuleFirmware;

constexpr const char* c_ModelVariables[] = {
    "PRODUCT_ID_Varrow=N41001",
    "PRODUCT_ID_VarrowX=N41002",
    "PRODUCT_ID_QL1A=N41003",
    "PRODUCT_ID_QL2A=N41004",
    "PRODUCT_ID_QL4K=N41005",
    "PRODUCT_ID_QL5K=N41006",
    "PRODUCT_ID_QL6M=N41007",
    "PRODUCT_ID_SKD=N41008",
    "PRODUCT_ID_LUMETV1=N41009",
    "PRODUCT_ID_LUMETV2=N41010",
    "PRODUCT_ID_LUMETV3=N41011",
    "PRODUCT_ID_LUMETV4=N41012",
    "PRODUCT_ID_LUMETV5=N41013",
    "PRODUCT_ID_LUMETV6=N41014",
    "PRODUCT_ID_TESSFINV1=N41015",
    "PRODUCT_ID_Nr1=N41016",
    "PRODUCT_ID_Nr2=N41017",
    "PRODUCT_ID_Nr3=N41018",
    // These models have a placeholder for a part number, on purpose.
    "PRODUCT_ID_Pk1=Nx",
    "PRODUCT_ID_Pk2=Nx",
    "PRODUCT_ID_Pk3=Nx",
    "PRODUCT_ID_Pk4=Nx",
};

// Laid out by hand, so that a product takes few lines.
// clang-format off
constexpr Product_T c_Products[] = {
    {.code = 0, .name = "none"},

    // Displays without a sonar.
    {.code = 1, .name = "HY05", .identityFile = IdentityFile::Pelion, .identities = {"HY05\n"}},
    {.code = 2, .name = "HX10", .identityFile = IdentityFile::Pelion, .identities = {"HX10\n"}},
    {.code = 3, .name = "HX05", .identityFile = IdentityFile::Pelion, .identities = {"HX05\n"}},
    {.code = 4, .name = "HY10", .identityFile = IdentityFile::Pelion, .identities = {"HY10\n"}},
    {.code = 5, .name = "HY20", .identityFile = IdentityFile::Pelion, .identities = {"HY20\n"}},
    {.code = 6, .name = "HY03", .identityFile = IdentityFile::Pelion, .identities = {"HY03\n"}},

    // Displays that work with the separate SKD sounder. They have its part number, which means no FPGA link.
    {.code = 7, .name = "HZ02", .identityFile = IdentityFile::Pelion, .identities = {"HZ02\n"},
     .productId = "PRODUCT_ID=N41008", .setup = Setup::Display, .power = SonarPower::NotNeeded},
    {.code = 8, .name = "HZ03", .identityFile = IdentityFile::Pelion, .identities = {"HZ03\n"},
     .productId = "PRODUCT_ID=N41008", .setup = Setup::Display, .power = SonarPower::NotNeeded},
    {.code = 9, .name = "HZ05", .identityFile = IdentityFile::Pelion, .identities = {"HZ05\n"},
     .productId = "PRODUCT_ID=N41008", .setup = Setup::Display, .power = SonarPower::NotNeeded},
    {.code = 10, .name = "HZ10", .identityFile = IdentityFile::Pelion, .identities = {"HZ10\n"},
     .productId = "PRODUCT_ID=N41008", .setup = Setup::Display, .power = SonarPower::NotNeeded},

    {.code = 11, .name = "Varrow", .identityFile = IdentityFile::Varrow, .identities = {"Varrow\n"},
     .productId = "PRODUCT_ID=N41001", .setup = Setup::Full, .power = SonarPower::Varrow, .link = Link::Uart},
    {.code = 12, .name = "VarrowX", .identityFile = IdentityFile::Varrow, .identities = {"VarrowX\n"},
     .productId = "PRODUCT_ID=N41002", .setup = Setup::Full, .power = SonarPower::Varrow, .link = Link::Uart},

    {.code = 13, .name = "Tq", .identityFile = IdentityFile::Pelion,
     .identities = {"Tq1\n", "Tq2\n", "Tq3\n", "Tq4\n", "TqXX\n"}},
    {.code = 14, .name = "Keyboard", .identityFile = IdentityFile::Varrow,
     .identities = {"Halvard Keyboard\n"}},

    {.code = 15, .name = "QL1A", .identityFile = IdentityFile::Varrow, .identities = {"QL1A\n"},
     .productId = "PRODUCT_ID=N41003", .setup = Setup::Full, .power = SonarPower::Varrow, .link = Link::Uart,
     .firmware = {.directory = c_ModuleFirmware, .pattern = "QL1A*.bin"}, .stopsSounder = true},
    {.code = 16, .name = "QL2A", .identityFile = IdentityFile::Varrow, .identities = {"QL2A\n"},
     .productId = "PRODUCT_ID=N41004", .setup = Setup::Full, .power = SonarPower::Varrow, .link = Link::Uart,
     .firmware = {.directory = c_ModuleFirmware, .pattern = "QL2A*.bin"}, .stopsSounder = true},

    // Three boards of one module. Their identity files are the same; the board reading distinguishes them.
    {.code = 17, .name = "QL4K", .identityFile = IdentityFile::Varrow, .identities = {"QL3B\n"},
     .board = {362, 618}, .productId = "PRODUCT_ID=N41005", .setup = Setup::Full, .power = SonarPower::Varrow,
     .link = Link::CorSpi, .firmware = {.directory = c_ModuleFirmware, .pattern = "QL4K_5K_A2_*"},
     .adcFrequency = 2, .sonarBoard = "SONAR_BOARD_ID=QL4K_SONAR_BOARD", // only this board has one, on purpose
     .fpgaSize = "QL3B_FPGA_SIZE=0", .ping = {.refusesPing = true}},
    {.code = 18, .name = "QL5K", .identityFile = IdentityFile::Varrow, .identities = {"QL3B\n"},
     .board = {64, 362}, .productId = "PRODUCT_ID=N41006", .setup = Setup::Full, .power = SonarPower::Varrow,
     .link = Link::CorSpi, .firmware = {.directory = c_ModuleFirmware, .pattern = "QL4K_5K_A2_*"},
     .adcFrequency = 2, .fpgaSize = "QL3B_FPGA_SIZE=0", .ping = {.refusesPing = true}},
    {.code = 19, .name = "QL6M", .identityFile = IdentityFile::Varrow, .identities = {"QL3B\n"},
     .board = {618, 867}, .productId = "PRODUCT_ID=N41007", .setup = Setup::Full, .power = SonarPower::Varrow,
     .link = Link::CorSpi, .firmware = {.directory = c_ModuleFirmware, .pattern = "QL6M_A4*"},
     .adcFrequency = 3, .fpgaSize = "QL3B_FPGA_SIZE=1", .twoFpgas = true, .ping = {.refusesPing = true}},

    {.code = 20, .name = "LumetV4", .identityFile = IdentityFile::Varrow,
     .identities = {"LumetV4\n", "VarrowV4\n"}, .productId = "PRODUCT_ID=N41012", .setup = Setup::Full,
     .power = SonarPower::Varrow, .link = Link::LumetSpi,
     .firmware = {.pattern = "Lumet_FPGA*", .resetsFirst = true},
     .ping = {.refusesPing = true, .keepsFirmware = true}},
    {.code = 21, .name = "LumetV1", .identityFile = IdentityFile::Varrow,
     .identities = {"LumetV1\n", "VarrowV1\n"}, .productId = "PRODUCT_ID=N41009", .setup = Setup::Full,
     .power = SonarPower::Varrow, .link = Link::LumetSpi,
     .firmware = {.pattern = "LumetLS*", .resetsFirst = true},
     .ping = {.refusesPing = true, .lacksSonarChannel = true}},
    {.code = 22, .name = "LumetV2", .identityFile = IdentityFile::Varrow,
     .identities = {"LumetV2\n", "VarrowV2\n"}, .productId = "PRODUCT_ID=N41010", .setup = Setup::Full,
     .power = SonarPower::Varrow, .link = Link::LumetSpi,
     .firmware = {.pattern = "Lumet_FPGA*", .resetsFirst = true}, .ping = {.refusesPing = true}},
    {.code = 23, .name = "LumetV3", .identityFile = IdentityFile::Varrow,
     .identities = {"LumetV3\n", "VarrowV3\n"}, .productId = "PRODUCT_ID=N41011",
     .setup = Setup::Refused, // identified but never set up or switched on; part of the contract
     .link = Link::LumetSpi, .firmware = {.pattern = "Lumet_FPGA*", .resetsFirst = true},
     .ping = {}}, // alone among the Lumets "ping" does not refuse it; part of the contract
    {.code = 24, .name = "LumetV5", .identityFile = IdentityFile::Varrow,
     .identities = {"LumetV5\n", "VarrowV5\n"}, .productId = "PRODUCT_ID=N41013", .setup = Setup::Full,
     .power = SonarPower::Varrow, .link = Link::LumetSpi,
     .firmware = {}, // no image, on purpose: a load reports the product as not supported
     .ping = {.refusesPing = true}},
    {.code = 25, .name = "LumetV6", .identityFile = IdentityFile::Varrow,
     .identities = {"LumetV6\n", "VarrowV6\n"}, .productId = "PRODUCT_ID=N41014", .setup = Setup::Full,
     .power = SonarPower::Varrow, .link = Link::LumetSpi,
     .firmware = {.pattern = "Lumet_FPGA*", .resetsFirst = true},
     .ping = {.refusesPing = true, .keepsFirmware = true}},
    {.code = 26, .name = "TessfinV1", .identityFile = IdentityFile::Varrow, .identities = {"TessfinV1\n"},
     .productId = "PRODUCT_ID=N41015",
     .setup = Setup::Refused, // identified but never set up or switched on; part of the contract
     .link = Link::LumetSpi,
     .firmware = {.pattern = "Lumet_FPGA*", .resetsFirst = true}, // not the LumetV1's, which fits as well
     .ping = {.refusesPing = true, .lacksSonarChannel = true}},

    {.code = 28, .name = "Nr1", .identityFile = IdentityFile::Pelion, .identities = {"NR1\n"},
     .productId = "PRODUCT_ID=N41016", .setup = Setup::Display, .power = SonarPower::Pelion,
     .link = Link::LumetSpi, .firmware = {.pattern = "Pleq2_FPGA*.rbf"}},
    {.code = 29, .name = "Nr2", .identityFile = IdentityFile::Pelion, .identities = {"NR2\n"},
     .productId = "PRODUCT_ID=N41017", .setup = Setup::Display, .power = SonarPower::Pelion,
     .link = Link::LumetSpi, .firmware = {.pattern = "Pleq2_FPGA*.rbf"}},
    {.code = 30, .name = "Nr3", .identityFile = IdentityFile::Pelion, .identities = {"NR3\n"},
     .productId = "PRODUCT_ID=N41018", .setup = Setup::Display, .power = SonarPower::Pelion,
     .link = Link::LumetSpi, .firmware = {.pattern = "Pleq2_FPGA*.rbf"}},
};
// clang-format on
} // namespace

std::span<const Product_T> Products() { return c_Products; }

const Product_T& ProductOf(unsigned int code)
{
    const auto* const product = std::ranges::find(c_Products, code, &Product_T::code);
    return product == std::end(c_Products) ? c_Products[0] : *product;
}

std::span<const char* const> ModelVariables() { return c_ModelVariables; }
