#include "simulator/unit/UnitFiles.h"

#include "framework/UnitPaths.h"
#include "simulator/models/FpgaFirmware.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace
{
namespace fs = std::filesystem;

/// A file that every unit has, with its contents.
struct UnitFile_T {
    const char* path;
    std::string_view contents;
};

// Raw analogue readings are those of a unit on a 13.8 V bench supply at room temperature.
constexpr std::array<UnitFile_T, 6> c_CommonFiles = {{
    {UnitPaths::c_BatteryVoltage, "2873\n"},
    {UnitPaths::c_LcdTemperature, "1846\n"},
    {UnitPaths::c_SensePin, "3071\n"},
    {UnitPaths::c_ApplicationVersion, "4.12.0\n"},
    {UnitPaths::c_PlatformVersion, "2.6.1\n"},
    {UnitPaths::c_SerialNumber, "QS1000123\n"},
}};

/// Links that every Linux machine has below /dev.
constexpr std::array<std::pair<const char*, const char*>, 4> c_DeviceLinks = {
    {{"fd", "/proc/self/fd"},
     {"stdin", "/proc/self/fd/0"},
     {"stdout", "/proc/self/fd/1"},
     {"stderr", "/proc/self/fd/2"}}};

/// Stops nothing here, and leaves a note that it was run.
constexpr std::string_view c_KillScript = "#!/bin/sh\necho stopped > /tmp/sounder_state\n";

void WriteFile(const fs::path& place, std::string_view contents)
{
    fs::create_directories(place.parent_path());
    std::ofstream file(place, std::ios::binary | std::ios::trunc);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    file.close();
    if (!file) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + place.string());
    }
}

const char* IdentityPath(const Product_T& product)
{
    return product.identityFile == IdentityFile::Varrow ? UnitPaths::c_VarrowProductId
                                                        : UnitPaths::c_PelionProductId;
}

/// The switch's path; null when the product has none.
const char* PowerSwitch(const Product_T& product)
{
    switch (product.power) {
    case SonarPower::Varrow:
        return UnitPaths::c_VarrowSonarPower;
    case SonarPower::Pelion:
        return UnitPaths::c_PelionSonarPower;
    case SonarPower::NotKnown:
    case SonarPower::NotNeeded:
        break;
    }
    return nullptr;
}

/// The pattern with its stars filled in, as a release would name its file.
std::string ImageName(std::string_view pattern, std::uint8_t version)
{
    std::string name(pattern);
    for (auto star = name.find('*'); star != std::string::npos; star = name.find('*', star)) {
        name.replace(star, 1, std::to_string(version));
    }
    return name;
}

void WriteProductFiles(const UnitTrees_T& trees, const Product_T& product, std::uint8_t firmwareVersion)
{
    if (product.identityFile != IdentityFile::None) {
        WriteFile(trees.Place(IdentityPath(product)), product.identities.front());
    }
    if (product.board.high != 0) {
        const int middle = (product.board.low + product.board.high) / 2;
        WriteFile(trees.Place(UnitPaths::c_SonarBoardId), std::to_string(middle) + "\n");
    }
    if (const char* powerSwitch = PowerSwitch(product)) {
        WriteFile(trees.Place(powerSwitch), "0\n");
    }
    fs::create_directories(trees.Place(product.firmware.directory));
    if (product.firmware.pattern[0] != '\0') {
        const Bytes_T image = MakeFirmwareImage(product.name, firmwareVersion);
        WriteFile(trees.Place(product.firmware.directory) /
                      ImageName(product.firmware.pattern, firmwareVersion),
                  std::string(image.begin(), image.end()));
    }
    if (product.stopsSounder) {
        for (const char* script : {UnitPaths::c_SounderKillScript, UnitPaths::c_ModuleSounderKillScript}) {
            WriteFile(trees.Place(script), c_KillScript);
            fs::permissions(trees.Place(script), fs::perms::owner_exec, fs::perm_options::add);
        }
    }
}

std::string ContentsOf(const fs::path& path)
{
    std::ifstream file;
    std::error_code isUnusable;
    if (!fs::is_directory(path, isUnusable)) { // which can be opened, too
        file.open(path, std::ios::binary);
    }
    std::string contents{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return contents;
}

void MakeChange(const fs::path& place, const FileChange_T& change)
{
    switch (change.kind) {
    case FileChange_T::Kind::Text:
        WriteFile(place, change.value.empty() ? std::string() : change.value + "\n");
        break;
    case FileChange_T::Kind::Copy:
        WriteFile(place, ContentsOf(change.value));
        break;
    case FileChange_T::Kind::Remove:
        fs::remove_all(place);
        break;
    }
}
} // namespace

CUnitDirectory::CUnitDirectory()
{
    std::string name = fs::temp_directory_path() / "sonarbench-sim-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make the unit's directory " + name);
    }
    m_Path = name;
}

CUnitDirectory::~CUnitDirectory()
{
    std::error_code ignored; // nobody could act on it
    for (fs::recursive_directory_iterator entry(m_Path, ignored), end; entry != end;
         entry.increment(ignored)) {
        if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
            fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
        }
    }
    fs::remove_all(m_Path, ignored);
}

fs::path UnitTrees_T::Place(const fs::path& unitFile) const
{
    const fs::path inTree = unitFile.relative_path();
    return *inTree.begin() == "sys" ? sys / inTree.lexically_relative("sys") : directory / inTree;
}

void WriteUnitFiles(const UnitTrees_T& trees, const Options_T& options)
{
    fs::create_directories(trees.directory / "tmp");
    fs::create_directories(trees.directory / "dev");
    for (const auto& [name, target] : c_DeviceLinks) {
        fs::create_symlink(target, trees.directory / "dev" / name);
    }
    for (const UnitFile_T& file : c_CommonFiles) {
        WriteFile(trees.Place(file.path), file.contents);
    }
    WriteProductFiles(trees, *options.product, options.firmwareVersion);
    for (const FileChange_T& change : options.fileChanges) {
        try {
            MakeChange(trees.Place(change.file), change);
        } catch (const std::system_error& error) { // which names a place that nobody outside knows
            throw std::runtime_error("cannot change the unit's file " + change.file.string() + ": " +
                                     error.code().message());
        }
    }
}

std::function<bool()> SonarPowerOf(const UnitTrees_T& trees, const Product_T& product)
{
    const char* powerSwitch = PowerSwitch(product);
    if (powerSwitch == nullptr) {
        return [] { return true; };
    }
    return [place = trees.Place(powerSwitch)] { return std::ifstream(place).get() == '1'; };
}
