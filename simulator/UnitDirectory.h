#pragma once

#include <filesystem>

/// A new directory where temporary files go. It goes with the object and all it holds, whatever the names and
/// rights in it are.
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
