#pragma once

#include "station/FileIdentity.h"

#include <string>
#include <vector>

/// What there is to read.
struct Transcripts_T {
    /// In order: the names as given, and of a directory its files by name, without hidden ones and without
    /// those that are written. What cannot be looked at is among them, so that opening it tells why.
    std::vector<std::string> files;
    std::vector<std::string> complaints; ///< about directories that could not be read to their end
};

/// @throw std::runtime_error when a name is of a file that is written, which would destroy it
Transcripts_T FindTranscripts(const std::vector<std::string>& names,
                              const std::vector<FileIdentity_T>& written);
