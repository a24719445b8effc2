#pragma once

#include "framework/Products.h"
#include "simulator/trace/TraceFile.h"

#include <QStringList>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// A change to the unit's files, made before the program starts.
struct FileChange_T {
    enum class Kind {
        Text,  ///< the value and a line end become the file's contents; an empty value empties it
        Copy,  ///< the contents of the file named by the value
        Remove ///< the file is removed
    };
    Kind kind;
    std::filesystem::path file; ///< absolute path as the unit sees it
    std::string value = {};
};

/// The simulator's command line.
struct Options_T {
    const Product_T* product = nullptr;
    std::vector<FileChange_T> fileChanges;
    std::vector<Fault_T> faults; ///< in the order given
    std::uint8_t firmwareVersion = 1;
    std::filesystem::path scene;        ///< empty: the built-in scene
    std::filesystem::path trace;        ///< empty: no trace
    std::filesystem::path truth;        ///< empty: the truth of the pings is not written
    std::optional<TraceFile_T> replay;  ///< the devices answer from it
    std::optional<TraceFile_T> check;   ///< nothing is run, but this trace is checked
    std::filesystem::path calls;        ///< empty: the operations are not written
    std::filesystem::path report;       ///< empty: no page
    std::filesystem::path keep;         ///< empty: the unit's files are removed
    std::filesystem::path program;      ///< the program to run on the unit
    std::vector<std::string> arguments; ///< the program's, byte for byte
    bool isShell = false;     ///< the arguments are a command, to which the program is known as sonarbench
    bool isOwnProgram = true; ///< only the sonarbench next to the simulator runs
    bool mayBeOpen = false;   ///< root may run another program that cannot be isolated
    std::vector<std::filesystem::path> writable; ///< directories that the program may change, canonical
};

/// Reads the simulator's command line. The first word that is not an option and all words after it belong to
/// the program. The time limit of the run begins here.
/// @return nothing when the command line asked for a text, which is printed
/// @throw CUsageError
std::optional<Options_T> ReadOptions(const QStringList& arguments);
