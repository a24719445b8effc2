#pragma once

#include "station/RunWriter.h"

#include <QIODevice>

#include <memory>
#include <span>

/// An output format of the command line.
struct Format_T {
    const char* option;                                     ///< name of the option, whose value is the file
    const char* description;                                ///< for the help
    std::unique_ptr<IRunWriter> (*make)(QIODevice& output); ///< the device must outlive the writer
};

/// All formats; each can be written in one reading.
std::span<const Format_T> Formats();
