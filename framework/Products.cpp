#include "framework/Products.h"

#include "framework/ConstantText.h"
#include "framework/UnitPaths.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace
{

using UnitPaths::c_DisplayFirmware;
using UnitPaths::c_ModuleFirmware;

template <ConstantText_T Model, ConstantText_T PartNumber>
constexpr ModelPartNumber_T c_Model = {.model = Model.bytes,
                                       .partNumber = PartNumber.bytes,
                                       .variable = c_Joined<"PRODUCT_ID_", Model, "=", PartNumber>.data(),
                                       .identity = c_Joined<"PRODUCT_ID=", PartNumber>.data()};

constexpr ModelPartNumber_T c_ModelPartNumbers[] = {
    c_Model<"Varrow", "N41001">,
    c_Model<"VarrowX", "N41002">,
    c_Model<"QL1A", "N41003">,
    c_Model<"QL2A", "N41004">,
    c_Model<"QL4K", "N41005">,
    c_Model<"QL5K", "N41006">,
    c_Model<"QL6M", "N41007">,
    c_Model<"SKD", "N41008">,
    c_Model<"LUMETV1", "N41009">,
    c_Model<"LUMETV2", "N41010">,
    c_Model<"LUMETV3", "N41011">,
    c_Model<"LUMETV4", "N41012">,
    c_Model<"LUMETV5", "N41013">,
    c_Model<"LUMETV6", "N41014">,
    c_Model<"TESSFINV1", "N41015">,
    c_Model<"Nr1", "N41016">,
    c_Model<"Nr2", "N41017">,
    c_Model<"Nr3", "N41018">,
    // Models that the sounder code asks for and that have no part number yet: a placeholder, on purpose.
    c_Model<"Pk1", "Nx">,
    c_Model<"Pk2", "Nx">,
    c_Model<"Pk3", "Nx">,
    c_Model<"Pk4", "Nx">,
};

// A model that is not in the table above does not compile.
consteval const ModelPartNumber_T* Model(std::string_view name)
{
    return &*std::ranges::find(c_ModelPartNumbers, name, &ModelPartNumber_T::model);
}

/// Contents of an identity file, with the line end that belongs to them.
template <ConstantText_T... Contents>
constexpr std::array<std::string_view, sizeof...(Contents)> c_Reads = {Contents.bytes...};

constexpr FirmwareImage_T c_NoImage = {.directory = c_DisplayFirmware};
constexpr FirmwareImage_T c_LumetImage = {
    .directory = c_DisplayFirmware, .pattern = "Lumet_FPGA*", .resetsFirst = true};
constexpr FirmwareImage_T c_NrImage = {.directory = c_DisplayFirmware, .pattern = "Pleq2_FPGA*.rbf"};
constexpr FirmwareImage_T c_Ql4k5kImage = {.directory = c_ModuleFirmware, .pattern = "QL4K_5K_A2_*"};

constexpr PingRules_T c_NotForPing = {.refusesPing = true};

// A display without a sonar of its own.
constexpr Product_T Display(unsigned int code, const char* name, std::span<const std::string_view> identities)
{
    return {.code = code,
            .name = name,
            .identityFile = IdentityFile::Pelion,
            .identities = identities,
            .firmware = c_NoImage};
}

// A display that works with the separate SKD sounder: that one's part number, no switch to throw. The FPGA
// layer knows no model by this number, so there is no link.
constexpr Product_T SkdDisplay(unsigned int code, const char* name,
                               std::span<const std::string_view> identities)
{
    Product_T product = Display(code, name, identities);
    product.model = Model("SKD");
    product.setup = Setup::Display;
    product.power = SonarPower::NotNeeded;
    return product;
}

constexpr Product_T NrDisplay(unsigned int code, const char* name,
                              std::span<const std::string_view> identities, const ModelPartNumber_T* model)
{
    return {.code = code,
            .name = name,
            .identityFile = IdentityFile::Pelion,
            .identities = identities,
            .model = model,
            .setup = Setup::Display,
            .power = SonarPower::Pelion,
            .link = Link::LumetSpi,
            .firmware = c_NrImage};
}

// A fish-finder with a built-in sonar.
constexpr Product_T FishFinder(unsigned int code, const char* name,
                               std::span<const std::string_view> identities, const ModelPartNumber_T* model,
                               Link link, const FirmwareImage_T& firmware, PingRules_T ping = {})
{
    return {.code = code,
            .name = name,
            .identityFile = IdentityFile::Varrow,
            .identities = identities,
            .model = model,
            .setup = Setup::Full,
            .power = SonarPower::Varrow,
            .link = link,
            .firmware = firmware,
            .ping = ping};
}

constexpr Product_T c_Products[] = {
    {.code = 0, .name = "none", .firmware = c_NoImage},
    Display(1, "HY05", c_Reads<"HY05\n">),
    Display(2, "HX10", c_Reads<"HX10\n">),
    Display(3, "HX05", c_Reads<"HX05\n">),
    Display(4, "HY10", c_Reads<"HY10\n">),
    Display(5, "HY20", c_Reads<"HY20\n">),
    Display(6, "HY03", c_Reads<"HY03\n">),
    SkdDisplay(7, "HZ02", c_Reads<"HZ02\n">),
    SkdDisplay(8, "HZ03", c_Reads<"HZ03\n">),
    SkdDisplay(9, "HZ05", c_Reads<"HZ05\n">),
    SkdDisplay(10, "HZ10", c_Reads<"HZ10\n">),
    FishFinder(11, "Varrow", c_Reads<"Varrow\n">, Model("Varrow"), Link::Uart, c_NoImage),
    FishFinder(12, "VarrowX", c_Reads<"VarrowX\n">, Model("VarrowX"), Link::Uart, c_NoImage),
    Display(13, "Tq", c_Reads<"Tq1\n", "Tq2\n", "Tq3\n", "Tq4\n", "TqXX\n">),
    {.code = 14,
     .name = "Keyboard",
     .identityFile = IdentityFile::Varrow,
     .identities = c_Reads<"Halvard Keyboard\n">,
     .firmware = c_NoImage},
    {.code = 15,
     .name = "QL1A",
     .identityFile = IdentityFile::Varrow,
     .identities = c_Reads<"QL1A\n">,
     .model = Model("QL1A"),
     .setup = Setup::Full,
     .power = SonarPower::Varrow,
     .link = Link::Uart,
     .firmware = {.directory = c_ModuleFirmware, .pattern = "QL1A*.bin"},
     .stopsSounder = true},
    {.code = 16,
     .name = "QL2A",
     .identityFile = IdentityFile::Varrow,
     .identities = c_Reads<"QL2A\n">,
     .model = Model("QL2A"),
     .setup = Setup::Full,
     .power = SonarPower::Varrow,
     .link = Link::Uart,
     .firmware = {.directory = c_ModuleFirmware, .pattern = "QL2A*.bin"},
     .stopsSounder = true},
    // The three boards of one module: its identity file reads the same, a resistor tells them apart.
    {.code = 17,
     .name = "QL4K",
     .identityFile = IdentityFile::Varrow,
     .identities = c_Reads<"QL3B\n">,
     .board = {362, 618},
     .model = Model("QL4K"),
     .setup = Setup::Full,
     .power = SonarPower::Varrow,
     .link = Link::CorSpi,
     .firmware = c_Ql4k5kImage,
     .adcFrequency = 2,
     .sonarBoard = "SONAR_BOARD_ID=QL4K_SONAR_BOARD", // the only board that the sounder code asks for by name
     .fpgaSize = "QL3B_FPGA_SIZE=0",
     .ping = c_NotForPing},
    {.code = 18,
     .name = "QL5K",
     .identityFile = IdentityFile::Varrow,
     .identities = c_Reads<"QL3B\n">,
     .board = {64, 362},
     .model = Model("QL5K"),
     .setup = Setup::Full,
     .power = SonarPower::Varrow,
     .link = Link::CorSpi,
     .firmware = c_Ql4k5kImage,
     .adcFrequency = 2,
     .fpgaSize = "QL3B_FPGA_SIZE=0",
     .ping = c_NotForPing},
    {.code = 19,
     .name = "QL6M",
     .identityFile = IdentityFile::Varrow,
     .identities = c_Reads<"QL3B\n">,
     .board = {618, 867},
     .model = Model("QL6M"),
     .setup = Setup::Full,
     .power = SonarPower::Varrow,
     .link = Link::CorSpi,
     .firmware = {.directory = c_ModuleFirmware, .pattern = "QL6M_A4*"},
     .adcFrequency = 3,
     .fpgaSize = "QL3B_FPGA_SIZE=1",
     .twoFpgas = true,
     .ping = c_NotForPing},
    FishFinder(20, "LumetV4", c_Reads<"LumetV4\n", "VarrowV4\n">, Model("LUMETV4"), Link::LumetSpi,
               c_LumetImage, {.refusesPing = true, .keepsFirmware = true}),
    FishFinder(21, "LumetV1", c_Reads<"LumetV1\n", "VarrowV1\n">, Model("LUMETV1"), Link::LumetSpi,
               {.directory = c_DisplayFirmware, .pattern = "LumetLS*", .resetsFirst = true},
               {.refusesPing = true, .lacksSonarChannel = true}),
    FishFinder(22, "LumetV2", c_Reads<"LumetV2\n", "VarrowV2\n">, Model("LUMETV2"), Link::LumetSpi,
               c_LumetImage, c_NotForPing),
    // Identified and known by its part number, but never set up or switched on: stations rely on the refusal.
    // Alone among its kind it is not refused by "ping", on purpose.
    {.code = 23,
     .name = "LumetV3",
     .identityFile = IdentityFile::Varrow,
     .identities = c_Reads<"LumetV3\n", "VarrowV3\n">,
     .model = Model("LUMETV3"),
     .setup = Setup::Refused,
     .power = SonarPower::NotKnown,
     .link = Link::LumetSpi,
     .firmware = c_LumetImage},
    // Without an image on purpose: a load reports the product as not supported.
    FishFinder(24, "LumetV5", c_Reads<"LumetV5\n", "VarrowV5\n">, Model("LUMETV5"), Link::LumetSpi, c_NoImage,
               c_NotForPing),
    FishFinder(25, "LumetV6", c_Reads<"LumetV6\n", "VarrowV6\n">, Model("LUMETV6"), Link::LumetSpi,
               c_LumetImage, {.refusesPing = true, .keepsFirmware = true}),
    // Refused like the LumetV3. Takes the image of the later Lumets, although the LumetV1's fits it as well.
    {.code = 26,
     .name = "TessfinV1",
     .identityFile = IdentityFile::Varrow,
     .identities = c_Reads<"TessfinV1\n">,
     .model = Model("TESSFINV1"),
     .setup = Setup::Refused,
     .power = SonarPower::NotKnown,
     .link = Link::LumetSpi,
     .firmware = c_LumetImage,
     .ping = {.refusesPing = true, .lacksSonarChannel = true}},
    NrDisplay(28, "Nr1", c_Reads<"NR1\n">, Model("Nr1")),
    NrDisplay(29, "Nr2", c_Reads<"NR2\n">, Model("Nr2")),
    NrDisplay(30, "Nr3", c_Reads<"NR3\n">, Model("Nr3")),
};

} // namespace

std::span<const Product_T> Products() { return c_Products; }

const Product_T& ProductOf(unsigned int code)
{
    const auto product = std::ranges::find(c_Products, code, &Product_T::code);
    return product == std::end(c_Products) ? c_Products[0] : *product;
}

std::span<const ModelPartNumber_T> ModelPartNumbers() { return c_ModelPartNumbers; }
