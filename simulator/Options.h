#pragma once

#include "framework/Products.h"
#include "simulator/trace/TraceFile.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// A change to the unit's files, made before the program starts.
struct FileChange_T {
    enum class Kind {
        Text,  ///< the value and a line end become the file's contents; an empty value empties it
        Copy,  ///< the contents of the file named by the value
        Remove ///< the file is taken away
    };
    Kind kind;
    std::filesystem::path file; ///< absolute path as the unit sees it
    std::string value = {};
};

/// What the command line asks of the simulator.
struct Options_T {
    const Product_T* product = nullptr;
    std::vector<FileChange_T> fileChanges;
    std::vector<Fault_T> faults; ///< in the order given
    std::uint8_t firmwareVersion = 1;
    std::filesystem::path scene;        ///< empty: the built-in scene
    std::filesystem::path trace;        ///< empty: no trace
    std::optional<TraceFile_T> replay;  ///< the devices answer from it
    std::filesystem::path calls;        ///< empty: the operations are not written
    std::filesystem::path report;       ///< empty: no picture of the run
    std::filesystem::path keep;         ///< empty: the unit's files are removed
    std::filesystem::path program;      ///< the program to run on the unit
    std::vector<std::string> arguments; ///< the program's, byte for byte
};

/// The command line asks for a text and an end instead of a run.
struct OptionsAnswer_T {
    int exitStatus; ///< 0: the text goes to standard output; 2: wrong usage, to standard error
    std::string text;
};

/// Reads the simulator's command line; needs a QCoreApplication. Arguments after the first word that is no
/// option belong to the program and are taken from argv as they are.
std::variant<Options_T, OptionsAnswer_T> ReadOptions(int argc, char** argv);
