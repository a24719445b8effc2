#pragma once

#include "framework/UnitPaths.h"

#include <array>
#include <cstring>
#include <span>
#include <string_view>

/// FPGA link of a product.
enum class Link { None, Uart, LowscanSpi, CorSpi, LumetSpi };

/// File that names the product.
enum class IdentityFile { None, Varrow, Pelion };

/// What the sonar controller does with a product at start-up.
enum class Setup {
    Refused, ///< reports an unknown product and sets nothing
    Display, ///< sets the product identity and the first Lowscan device
    Full     ///< sets platform type, channel devices and product identity
};

/// Switch that powers the sonar.
enum class SonarPower {
    NotKnown,  ///< no switch is known: a notice in the report, nothing else
    NotNeeded, ///< the sonar is always on
    Varrow,
    Pelion
};

/// Raw readings [low, high) of the board identification channel that mean this product; both 0: the channel
/// is not read.
struct BoardRange_T {
    int low = 0;
    int high = 0;
};

/// Firmware image of a product.
struct FirmwareImage_T {
    const char* directory = UnitPaths::c_DisplayFirmware;
    const char* pattern = ""; ///< shell pattern of the file name, empty when the product has none
    bool resetsFirst = false; ///< "1" is written to the device node before the image
};

/// How the ping tests treat a product.
struct PingRules_T {
    bool refusesPing = false;       ///< "ping" fails at once
    bool keepsFirmware = false;     ///< "lumetping" does not load the firmware first
    bool lacksSonarChannel = false; ///< the FPGA has channel 1 only
};

/// One product. Texts are zero-terminated and live as long as the program.
struct Product_T {
    unsigned int code;
    const char* name;
    IdentityFile identityFile = IdentityFile::None;
    /// Whole contents of the identity file, any of them. Unused places are empty.
    std::array<std::string_view, 5> identities = {};
    BoardRange_T board = {};
    const char* productId = nullptr; ///< PRODUCT_ID=<part number>, for the environment; null: no part number
    Setup setup = Setup::Refused;
    SonarPower power = SonarPower::NotKnown;
    Link link = Link::None;
    FirmwareImage_T firmware = {};
    unsigned char adcFrequency = 0;   ///< ADC frequency register; 0: not an xK module
    const char* sonarBoard = nullptr; ///< SONAR_BOARD_ID=<board>, null: not set
    const char* fpgaSize = nullptr;   ///< QL3B_FPGA_SIZE=<0 or 1>, null: not set
    bool twoFpgas = false;            ///< the second FPGA device is channel 1
    PingRules_T ping = {};
    bool stopsSounder = false; ///< the unit's sounder application is stopped first

    /// The part number in productId; null: none.
    const char* PartNumber() const
    {
        return productId == nullptr ? nullptr : std::strchr(productId, '=') + 1;
    }
};

/// All products, codes 0 (none) to 30 without the unused 27, in ascending order.
std::span<const Product_T> Products();

/// The product of a code; code 0's row for a code that does not exist.
const Product_T& ProductOf(unsigned int code);

/// PRODUCT_ID_<model>=<part number> for each model that the sounder code knows, in the order in which they
/// enter the environment. Texts are zero-terminated and live as long as the program.
std::span<const char* const> ModelVariables();
