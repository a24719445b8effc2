#pragma once

#include "simulator/Options.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// A new directory below TMPDIR; without that variable, in /dev/shm if possible, otherwise in /tmp. The
/// object removes it with everything in it. While the object lives, it holds a lock on a file in the
/// directory. If nobody holds that lock, the simulator was killed, and the next object removes the directory,
/// in whichever of the places it is.
class CUnitDirectory
{
public:
    /// Throws std::system_error when it cannot be made.
    CUnitDirectory();
    CUnitDirectory(const CUnitDirectory&) = delete;
    CUnitDirectory& operator=(const CUnitDirectory&) = delete;
    ~CUnitDirectory();

    const std::filesystem::path& Path() const { return m_Path; }
    /// Removes the directory with everything in it. For any thread.
    void Remove() const;

private:
    std::filesystem::path m_Path;
    int m_Lock = -1; ///< descriptor of the lock's file
};

/// Whether a path is below a directory, by its text.
bool LiesBelow(const std::filesystem::path& path, const std::filesystem::path& directory);

/// Whether a path, by its text, is below a place where the program sees the unit's files only.
bool IsUnitsOwn(const std::filesystem::path& path);

/// Where the trees of a unit are on this machine.
struct UnitTrees_T {
    std::filesystem::path directory; ///< holds corvane/, VERSION, tmp/ and dev/
    std::filesystem::path sys;       ///< the unit's /sys

    /// Place on this machine of a file as the unit sees it.
    std::filesystem::path Place(const std::filesystem::path& unitFile) const;
};

/// Files that a unit of the product has when it leaves the factory, and others that sonarbench reads there.
std::vector<std::string> UnitFileNames(const Product_T& product);

/// Whether sonarbench can see that this file of the unit was changed. True also for what is above or below
/// such a file, next to firmware, or below /tmp.
bool IsSeen(const std::filesystem::path& file, const Product_T& product);

/// Writes the files that a unit of the product has when it leaves the factory: identity, analogue readings,
/// power switch, firmware image, versions, serial number, kill scripts; in the replay of a recording, its
/// firmware images. Then makes the changes asked for.
/// Throws std::system_error naming the file that could not be made or read.
void WriteUnitFiles(const UnitTrees_T& trees, const Options_T& options);

/// Whether the unit's sonar is switched on now.
std::function<bool()> SonarPowerOf(const UnitTrees_T& trees, const Product_T& product);
