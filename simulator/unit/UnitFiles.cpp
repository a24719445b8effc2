#include "simulator/unit/UnitFiles.h"

#include "framework/UnitPaths.h"
#include "simulator/models/FpgaFirmware.h"
#include "simulator/unit/UnitPlaces.h"
#include "tools/BoundedFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string_view>
#include <sys/file.h>
#include <sys/statvfs.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace
{
namespace fs = std::filesystem;

/// A file of a unit, with its contents.
struct UnitFile_T {
    std::string path;
    std::string contents;
    bool isScript = false;
};

// Raw analogue readings are those of a unit on a 13.8 V bench supply at room temperature.
constexpr std::pair<const char*, const char*> c_CommonFiles[] = {
    {UnitPaths::c_BatteryVoltage, "2873\n"},   {UnitPaths::c_LcdTemperature, "1846\n"},
    {UnitPaths::c_SensePin, "3071\n"},         {UnitPaths::c_ApplicationVersion, "4.12.0\n"},
    {UnitPaths::c_PlatformVersion, "2.6.1\n"}, {UnitPaths::c_SerialNumber, "QS1000123\n"},
};

/// Files that sonarbench reads where they exist.
constexpr const char* c_OtherFiles[] = {UnitPaths::c_WaterTemperature, UnitPaths::c_VarrowProductId,
                                        UnitPaths::c_PelionProductId};

/// More than the unit's program reads of any file.
constexpr std::size_t c_MostCopied = std::size_t{256} << 20;

constexpr char c_Memory[] = "/dev/shm";
constexpr char c_DirectoryName[] = "sonarbench-sim-";
constexpr char c_LockFile[] = "simulator-lock";

/// Links that every Linux machine has below /dev.
constexpr std::array<std::pair<const char*, const char*>, 4> c_DeviceLinks = {
    {{"fd", "/proc/self/fd"},
     {"stdin", "/proc/self/fd/0"},
     {"stdout", "/proc/self/fd/1"},
     {"stderr", "/proc/self/fd/2"}}};

/// Stops nothing, but leaves a note that it ran.
constexpr char c_KillScript[] = "#!/bin/sh\necho stopped > /tmp/sounder_state\n";

[[noreturn]] void Refuse(int error, const std::string& what)
{
    throw std::system_error(error, std::generic_category(), what);
}

/// Throws std::system_error with the file's name in the unit, and not on this machine.
[[noreturn]] void RefuseFile(const std::error_code& error, const fs::path& unitFile)
{
    Refuse(error.value(), "the unit's file " + unitFile.string());
}

/// Throws as RefuseFile().
void WriteFile(const fs::path& place, const fs::path& unitFile, std::string_view contents)
{
    std::error_code error;
    fs::create_directories(place.parent_path(), error);
    std::ofstream file(place, std::ios::binary | std::ios::trunc);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    file.close();
    if (!file) {
        RefuseFile(error ? error : std::error_code(errno, std::generic_category()), unitFile);
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

/// A file name of the pattern, with the version in place of each star.
std::string ImageName(std::string_view pattern, std::uint8_t version)
{
    std::string name(pattern);
    for (auto star = name.find('*'); star != std::string::npos; star = name.find('*', star)) {
        name.replace(star, 1, std::to_string(version));
    }
    return name;
}

std::vector<UnitFile_T> FactoryFiles(const Product_T& product, std::uint8_t firmwareVersion)
{
    std::vector<UnitFile_T> files;
    for (const auto& [path, contents] : c_CommonFiles) {
        files.push_back({path, contents});
    }
    if (product.identityFile != IdentityFile::None) {
        files.push_back({IdentityPath(product), std::string(product.identities.front())});
    }
    if (product.board.high != 0) {
        const int middle = (product.board.low + product.board.high) / 2;
        files.push_back({UnitPaths::c_SonarBoardId, std::to_string(middle) + "\n"});
    }
    if (const char* powerSwitch = PowerSwitch(product)) {
        files.push_back({powerSwitch, "0\n"});
    }
    if (product.firmware.pattern[0] != '\0') {
        const Bytes_T image = MakeFirmwareImage(product.name, firmwareVersion);
        files.push_back(
            {fs::path(product.firmware.directory) / ImageName(product.firmware.pattern, firmwareVersion),
             std::string(image.begin(), image.end())});
    }
    if (product.stopsSounder) {
        for (const char* script : {UnitPaths::c_SounderKillScript, UnitPaths::c_ModuleSounderKillScript}) {
            files.push_back({script, c_KillScript, true});
        }
    }
    return files;
}

void MakeChange(const fs::path& place, const FileChange_T& change)
{
    std::string contents = change.value + "\n";
    if (change.value.empty()) {
        contents.clear();
    } else if (change.kind == FileChange_T::Kind::Copy) {
        contents = ReadBounded(change.value, c_MostCopied);
    }
    if (change.kind != FileChange_T::Kind::Remove) {
        WriteFile(place, change.file, contents);
        return;
    }
    std::error_code error;
    fs::remove_all(place, error);
    if (error) {
        RefuseFile(error, change.file);
    }
}

/// Puts the firmware images into their directory that the shells of a recorded program read there.
void WriteRecordedImages(const UnitTrees_T& trees, const Product_T& product, const TraceFile_T& trace)
{
    const fs::path directory = trees.Place(product.firmware.directory);
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        fs::remove_all(entry);
    }
    for (const TraceAccess_T& file : trace.files) {
        if (file.access == FileAccess::Shell && LiesBelow(file.path, product.firmware.directory)) {
            WriteFile(trees.Place(file.path), file.path,
                      {reinterpret_cast<const char*>(file.contents.data()), file.contents.size()});
        }
    }
}
void RemoveTree(const fs::path& directory)
{
    // A proot that was just killed removes files there, too, which disturbs an attempt.
    constexpr int c_Attempts = 20;
    std::error_code error;
    for (int attempt = 0; attempt < c_Attempts; ++attempt) {
        fs::remove_all(directory, error);
        if (!error) {
            return;
        }
        // The program can take away rights to its directories.
        std::error_code ignored; // nothing can be done about it
        for (fs::recursive_directory_iterator entry(directory, ignored), end; entry != end;
             entry.increment(ignored)) {
            if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
                fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
            }
        }
    }
}

/// Where the units' directories are made: in memory if there is room and nothing else is asked for, because a
/// disk's file system takes longer for each file than the run does for all else.
fs::path DirectoryForUnits()
{
    constexpr auto c_EnoughBytes = 2 * c_MostCopied;
    struct statvfs memory {
    };
    const bool isUsable = std::getenv("TMPDIR") == nullptr && ::access(c_Memory, W_OK) == 0 &&
                          ::statvfs(c_Memory, &memory) == 0 && (memory.f_flag & ST_NOEXEC) == 0 &&
                          memory.f_bavail >= c_EnoughBytes / memory.f_bsize;
    return isUsable ? c_Memory : fs::temp_directory_path();
}

/// Removes the directories that simulators in this place left when they were killed.
void RemoveAbandoned(const fs::path& place)
{
    const std::string beginning = place / c_DirectoryName;
    std::error_code ignored; // the place may be unreadable
    for (const fs::directory_entry& entry : fs::directory_iterator(place, ignored)) {
        if (!entry.path().native().starts_with(beginning)) {
            continue;
        }
        const int lock = ::open((entry.path() / c_LockFile).c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
        if (lock < 0) {
            continue;
        }
        if (::flock(lock, LOCK_EX | LOCK_NB) == 0) {
            RemoveTree(entry.path());
        }
        ::close(lock);
    }
}
} // namespace

CUnitDirectory::CUnitDirectory()
{
    const fs::path place = DirectoryForUnits();
    RemoveAbandoned(c_Memory);
    std::error_code ignored; // without a directory for temporary files, nothing is left there
    RemoveAbandoned(fs::temp_directory_path(ignored));
    do {
        ::close(m_Lock);
        std::string name = place / (std::string(c_DirectoryName) + "XXXXXX");
        if (::mkdtemp(name.data()) == nullptr) {
            Refuse(errno, "cannot make the unit's directory " + name);
        }
        m_Path = name;
        m_Lock = ::open((m_Path / c_LockFile).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        // Before this simulator has the lock, another one can remove the directory.
    } while (::flock(m_Lock, LOCK_EX) == 0 && !fs::exists(m_Path / c_LockFile));
}

void CUnitDirectory::Remove() const { RemoveTree(m_Path); }

CUnitDirectory::~CUnitDirectory()
{
    Remove();
    ::close(m_Lock);
}

fs::path UnitTrees_T::Place(const fs::path& unitFile) const
{
    const fs::path inTree = unitFile.relative_path();
    return *inTree.begin() == "sys" ? sys / inTree.lexically_relative("sys") : directory / inTree;
}

bool LiesBelow(const fs::path& path, const fs::path& directory)
{
    const fs::path relative = path.lexically_relative(directory);
    return !relative.empty() && relative != "." && *relative.begin() != "..";
}

bool IsUnitsOwn(const fs::path& path)
{
    const auto holds = [&](const char* place) { return LiesBelow(path, place); };
    return std::ranges::any_of(c_UnitPlaces, holds) && std::ranges::none_of(c_TemporaryPlaces, holds);
}

std::vector<std::string> UnitFileNames(const Product_T& product)
{
    std::vector<std::string> names(std::begin(c_OtherFiles), std::end(c_OtherFiles));
    for (const UnitFile_T& file : FactoryFiles(product, 0)) {
        names.push_back(file.path);
    }
    return names;
}

bool IsSeen(const fs::path& file, const Product_T& product)
{
    const auto isRelated = [&file](const std::string& name) {
        return LiesBelow(name, file) || LiesBelow(file, name);
    };
    const std::vector<std::string> names = UnitFileNames(product);
    return LiesBelow(file, "/tmp") || file.parent_path() == product.firmware.directory ||
           std::ranges::find(names, file.string()) != names.end() || std::ranges::any_of(names, isRelated);
}

void WriteUnitFiles(const UnitTrees_T& trees, const Options_T& options)
{
    fs::create_directories(trees.directory / "tmp");
    fs::create_directories(trees.directory / "dev/shm");
    for (const auto& [name, target] : c_DeviceLinks) {
        fs::create_symlink(target, trees.directory / "dev" / name);
    }
    fs::create_directories(trees.Place(options.product->firmware.directory));
    for (const UnitFile_T& file : FactoryFiles(*options.product, options.firmwareVersion)) {
        const fs::path place = trees.Place(file.path);
        WriteFile(place, file.path, file.contents);
        if (file.isScript) {
            fs::permissions(place, fs::perms::owner_exec, fs::perm_options::add);
        }
    }
    if (options.replay && options.replay->recording == Recording::Complete) {
        WriteRecordedImages(trees, *options.product, *options.replay);
    }
    for (const FileChange_T& change : options.fileChanges) {
        MakeChange(trees.Place(change.file), change);
    }
}

std::function<bool()> SonarPowerOf(const UnitTrees_T& trees, const Product_T& product)
{
    const char* powerSwitch = PowerSwitch(product);
    if (powerSwitch == nullptr) {
        return [] { return true; };
    }
    return [place = trees.Place(powerSwitch)] {
        // The program can replace the file by a link or a pipe.
        char digit = 0;
        const int file = ::open(place.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        const bool isRead = file >= 0 && ::read(file, &digit, 1) == 1;
        ::close(file);
        return isRead && digit == '1';
    };
}
