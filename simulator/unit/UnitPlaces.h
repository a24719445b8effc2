#pragma once

#include <algorithm>
#include <array>
#include <string_view>

/// The unit's own trees. Other files are those of the machine that the simulator runs on.
inline constexpr std::array<std::string_view, 3> c_UnitTrees = {"/sys/", "/corvane/", "/tmp/"};
inline constexpr std::string_view c_PlatformVersionFile = "/VERSION";

/// The unit's own /tmp.
inline constexpr char c_Temporary[] = "/tmp";
/// What the program sees of the unit and the simulator in place of this machine's.
inline constexpr std::array<const char*, 6> c_UnitPlaces = {"/corvane", "/dev",      "/proc",
                                                            "/sys",     c_Temporary, "/unit"};

/// Directories of temporary files. In each the program sees the unit's own files, and those of this machine
/// that it needs.
inline constexpr std::array<const char*, 2> c_TemporaryPlaces = {c_Temporary, "/dev/shm"};

/// Where a replay keeps the contents of the files that a recorded program read, by their numbers.
inline constexpr char c_RecordedFiles[] = "/unit/recorded/";

/// Beginnings of the unit's device nodes.
inline constexpr std::array<std::string_view, 2> c_UnitNodes = {"/dev/LSfpga", "/dev/ttyO"};

/// Whether an absolute path is that of a file of the unit.
constexpr bool IsUnitFile(std::string_view path)
{
    return path == c_PlatformVersionFile || std::ranges::any_of(c_UnitTrees, [&](std::string_view tree) {
               return path.starts_with(tree) && path.size() > tree.size();
           });
}

/// Whether an absolute path is that of a device node of the unit.
constexpr bool IsUnitNode(std::string_view path)
{
    return std::ranges::any_of(c_UnitNodes, [&](std::string_view node) { return path.starts_with(node); });
}
