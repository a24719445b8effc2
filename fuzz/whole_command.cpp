// A whole run of the program on a unit made from the fuzzer's bytes: they determine product, command,
// arguments, damage to the unit and the answers of its devices.

#include "app/CommandTable.h"
#include "framework/UnitPaths.h"
#include "fuzz/FuzzWorld.h"
#include "fuzz/TableText.h"

#include <iterator>
#include <sstream>

namespace
{
constexpr const char* c_Numbers[] = {"0",    "1",      "2",      "5",          "27", "45",
                                     "1023", "200000", "210000", "4294967295", "-5", "x"};
constexpr const char* c_Tables[] = {"table.txt", "missing.txt"};
/// Arguments that a command with a choice of words refuses, or takes in another case.
constexpr std::string_view c_OtherWords[] = {"HIGH", "400"};
constexpr std::string_view c_UnknownCommand = "6mping";

/// An argument of a command, by its name in the table of commands.
std::string Argument(CFuzzInput& input, std::string_view name, const CommandForm_T& form)
{
    if (name == "file") {
        return input.OneOf(c_Tables);
    }
    if (name == "start" || name == "end") {
        return std::to_string(input.Word() * 100);
    }
    if (!form.choices.empty() && form.arguments.ends_with(name)) {
        std::vector<std::string_view> words(form.choices.begin(), form.choices.end());
        words.insert(words.end(), std::begin(c_OtherWords), std::end(c_OtherWords));
        return std::string(input.OneOf(words));
    }
    return input.OneOf(c_Numbers);
}

/// A command line of the table, or one that it does not know.
std::vector<std::string> CommandLine(CFuzzInput& input)
{
    std::vector<CommandForm_T> forms = CommandForms();
    forms.push_back({c_UnknownCommand, {}, {}});
    const CommandForm_T& form = input.OneOf(forms);
    std::vector<std::string> words = {"./sonarbench", std::string(form.word)};
    std::istringstream names{std::string(form.arguments)};
    for (std::string name; names >> name;) {
        words.push_back(Argument(input, name, form));
    }
    return words;
}

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
    std::vector<std::string> arguments = CommandLine(input);

    CFuzzWorld world(product, input);
    const unsigned int damages = input.Byte();
    for (std::size_t at = 0; at < std::size(c_Damages); ++at) {
        if ((damages >> at & 1) != 0) {
            c_Damages[at](world, input);
        }
    }
    if (arguments.size() > 3) { // one of several can name the table
        world.files[c_Tables[0]] = Table(input);
    }
    world.Run(std::move(arguments));
    return 0;
}
