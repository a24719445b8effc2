#pragma once

#include "simulator/Options.h"

#include <filesystem>
#include <functional>

/// A new directory where temporary files go. The object removes it with everything in it, whatever the names
/// and permissions there.
class CUnitDirectory
{
public:
    /// Throws std::system_error when it cannot be made.
    CUnitDirectory();
    CUnitDirectory(const CUnitDirectory&) = delete;
    CUnitDirectory& operator=(const CUnitDirectory&) = delete;
    ~CUnitDirectory();

    const std::filesystem::path& Path() const { return m_Path; }

private:
    std::filesystem::path m_Path;
};

/// Where the trees of a unit lie on this machine.
struct UnitTrees_T {
    std::filesystem::path directory; ///< holds corvane/, VERSION, tmp/ and dev/
    std::filesystem::path sys;       ///< the unit's /sys

    /// Place on this machine of a file as the unit sees it.
    std::filesystem::path Place(const std::filesystem::path& unitFile) const;
};

/// Writes the files that a unit of the product has when it leaves the factory: identity, analogue readings,
/// power switch, firmware image, versions, serial number, kill scripts. Then makes the changes asked for.
/// Throws std::runtime_error (or a filesystem_error) naming the file that could not be made.
void WriteUnitFiles(const UnitTrees_T& trees, const Options_T& options);

/// Whether the unit's sonar is switched on, asked anew on each call.
std::function<bool()> SonarPowerOf(const UnitTrees_T& trees, const Product_T& product);
