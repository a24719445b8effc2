// A whole run of the program on a unit made from the fuzzer's bytes: they determine product, command,
// arguments, damage to the unit and the answers of its devices.

#include "framework/UnitPaths.h"
#include "fuzz/FuzzWorld.h"
#include "fuzz/TableText.h"

namespace
{
/// Words that the input chooses from; if there are none, it gives a number.
using Choices_T = std::vector<const char*>;

const Choices_T c_AnyNumber = {};
const Choices_T c_Number = {"0",    "1",      "2",      "5",          "27", "45",
                            "1023", "200000", "210000", "4294967295", "-5", "x"};
const Choices_T c_Gain = {"low", "medium", "high", "HIGH", "max"};
const Choices_T c_Setting = {"200long", "350long", "200", "350", "50long", "400"};
const Choices_T c_Table = {"table.txt", "missing.txt"};

struct CommandLine_T {
    const char* word;
    std::vector<Choices_T> arguments = {};
};

const CommandLine_T c_Commands[] = {
    {"xkping", {c_Table, c_Number, c_Number}},
    {"ping", {c_AnyNumber, c_AnyNumber, c_Number, c_Number, c_Number, c_Gain}},
    {"lumetping", {c_Setting}},
    {"lowscanping", {c_Setting}},
    {"loadfpgabinary"},
    {"watertemperature"},
    {"speed", {c_Number}},
    {"batteryvoltage"},
    {"lcdtemperature"},
    {"sensepin"},
    {"6mping"},
};

/// What each bit of a byte changes on an intact unit.
using Damage_T = void (*)(CFuzzWorld&, CFuzzInput&);
constexpr Damage_T c_Damages[] = {
    [](CFuzzWorld& world, CFuzzInput& input) { world.files[UnitPaths::c_WaterTemperature] = input.Text(); },
    [](CFuzzWorld& world, CFuzzInput& input) { world.files[UnitPaths::c_SonarBoardId] = input.Text(); },
    [](CFuzzWorld& world, CFuzzInput& input) {
        for (const char* path : {UnitPaths::c_VarrowProductId, UnitPaths::c_PelionProductId}) {
            if (world.files.contains(path)) {
                world.files[path] = input.Text();
            }
        }
    },
    [](CFuzzWorld& world, CFuzzInput& input) {
        const std::string text = input.Text();
        for (const char* path :
             {UnitPaths::c_BatteryVoltage, UnitPaths::c_SensePin, UnitPaths::c_SerialNumber}) {
            world.files[path] = text;
        }
        world.files.erase(UnitPaths::c_ApplicationVersion);
    },
    [](CFuzzWorld& world, CFuzzInput&) { world.directories.clear(); },
    [](CFuzzWorld& world, CFuzzInput&) {
        world.files.erase(UnitPaths::c_VarrowSonarPower);
        world.files.erase(UnitPaths::c_PelionSonarPower);
    },
    [](CFuzzWorld& world, CFuzzInput& input) { world.shellResult = static_cast<std::int8_t>(input.Byte()); },
    [](CFuzzWorld& world, CFuzzInput& input) {
        world.hasDevices = (input.Byte() & 1) != 0;
        world.isTerminal = false;
    },
};

/// Numbers of entries on both sides of the limits. Long tables are rare, because they take long.
constexpr std::size_t c_Entries[] = {1, 2, 0, 1, 2, 3, 1, 2, 1, 2, 3, 1, 64, 1, 1024, 1025, 1, 4097};
constexpr unsigned int c_Filters[] = {222, 238, 245, 246, 254};

std::string Table(CFuzzInput& input)
{
    TableNumbers_T numbers;
    numbers.filter = input.OneOf(c_Filters);
    // A multiple of 16, unless the lowest bit says otherwise.
    const unsigned int samples = input.Byte();
    numbers.samples = samples / 2 * 16 + (samples & 1);
    numbers.centreFrequency = input.Byte() * 500U;
    numbers.chirpEntries = input.OneOf(c_Entries);
    numbers.tvgEntries = input.OneOf(c_Entries);
    numbers.correlationEntries = input.OneOf(c_Entries);
    return TableText(numbers);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    CFuzzInput input(pData, size);
    const Product_T& product = input.OneOf<const std::span<const Product_T>>(Products());
    const CommandLine_T& command = input.OneOf(c_Commands);
    std::vector<std::string> arguments = {"./sonarbench", command.word};
    for (const Choices_T& choices : command.arguments) {
        arguments.push_back(choices.empty() ? std::to_string(input.Word() * 100) : input.OneOf(choices));
    }

    CFuzzWorld world(product, input);
    const unsigned int damages = input.Byte();
    for (std::size_t at = 0; at < std::size(c_Damages); ++at) {
        if ((damages >> at & 1) != 0) {
            c_Damages[at](world, input);
        }
    }
    if (command.arguments.size() > 1) {
        world.files[c_Table.front()] = Table(input);
    }
    world.Run(std::move(arguments));
    return 0;
}
