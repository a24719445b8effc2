#pragma once

#include "station/RunWriter.h"
#include "station/View.h"

#include <QIODevice>

#include <memory>
#include <span>

/// An output format of the command line.
struct Format_T {
    const char* option;      ///< name of the option, whose value is the file
    const char* description; ///< for the help
    /// The device must outlive the writer.
    std::unique_ptr<IRunWriter> (*make)(QIODevice& output, const View_T& view);
    bool takesFile = true; ///< false: goes to standard output, and the option has no value
};

/// All formats; each can be written in one reading.
std::span<const Format_T> Formats();
