#pragma once

#include "station/Formats.h"

#include <string>
#include <variant>
#include <vector>

/// What the command line asks for.
struct Options_T {
    struct Output_T {
        const Format_T* format;
        std::string file;
    };
    std::vector<Output_T> outputs;        ///< at least one
    std::vector<std::string> transcripts; ///< files and directories; at least one
    bool isStrict = false;
    View_T view;
};

/// The command line asks for a text and an end instead.
struct OptionsAnswer_T {
    int exitStatus; ///< 0: the text goes to standard output; 2: wrong usage, to standard error
    std::string text;
};

/// Reads the command line; needs a QCoreApplication. Names of files are taken as bytes.
std::variant<Options_T, OptionsAnswer_T> ReadOptions(int argc, char** argv);
