#pragma once

#include <span>
#include <string_view>

/// FPGA link that a product's unit has.
enum class Link { None, Uart, LowscanSpi, CorSpi, LumetSpi };

/// File that names the product.
enum class IdentityFile { None, Varrow, Pelion };

/// What the sonar controller does with a product at start-up.
enum class Setup {
    Refused, ///< reported as an unknown product; nothing is set
    Display, ///< product identity and the first Lowscan device
    Full     ///< platform type, channel devices, product identity
};

/// Switch that powers the sonar.
enum class SonarPower {
    NotKnown,  ///< not a platform with a sonar switch: a notice, nothing else
    NotNeeded, ///< always on
    Varrow,
    Pelion
};

/// Raw readings [low, high) of the board identification channel that mean this product; both 0: not asked.
struct BoardRange_T {
    int low = 0;
    int high = 0;
};

/// Firmware image of a product.
struct FirmwareImage_T {
    const char* directory;    ///< where the unit keeps it
    const char* pattern = ""; ///< shell pattern of the file name, empty when the product has none
    bool resetsFirst = false; ///< "1" is written to the device node before the image
};

/// What the ping tests observe of a product.
struct PingRules_T {
    bool refusesPing = false;       ///< "ping" is not for it
    bool keepsFirmware = false;     ///< "lumetping" does not load its firmware first
    bool lacksSonarChannel = false; ///< its FPGA has channel 1 only
};

/// A part number that the sounder code knows by a model's name. Texts are zero-terminated and live as long as
/// the program.
struct ModelPartNumber_T {
    std::string_view model;
    const char* partNumber;
    const char* variable; ///< PRODUCT_ID_<model>=<part number>, for the environment
    const char* identity; ///< PRODUCT_ID=<part number>, for the environment of a unit that is this model
};

/// One product. Texts are zero-terminated and live as long as the program.
struct Product_T {
    unsigned int code;
    const char* name;
    IdentityFile identityFile = IdentityFile::None;
    std::span<const std::string_view> identities = {}; ///< whole contents of the identity file, any of them
    BoardRange_T board = {};
    const ModelPartNumber_T* model = nullptr; ///< null: no part number
    Setup setup = Setup::Refused;
    SonarPower power = SonarPower::NotKnown;
    Link link = Link::None;
    FirmwareImage_T firmware;
    unsigned char adcFrequency = 0;   ///< ADC frequency register; 0: not an xK module
    const char* sonarBoard = nullptr; ///< SONAR_BOARD_ID=<board>, null: not set
    const char* fpgaSize = nullptr;   ///< QL3B_FPGA_SIZE=<0 or 1>, null: not set
    bool twoFpgas = false;            ///< a second FPGA device is announced as channel 1
    PingRules_T ping = {};
    bool stopsSounder = false; ///< the unit's own sounder application is stopped first
};

/// All products, codes 0 (none) to 30 without the unused 27, in ascending order.
std::span<const Product_T> Products();

/// The product of a code; code 0's row for a code that does not exist.
const Product_T& ProductOf(unsigned int code);

/// The models, in the order in which they enter the environment.
std::span<const ModelPartNumber_T> ModelPartNumbers();
