#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// The files to read, in order: the names as given, and of a directory its files by name, without hidden ones
/// and without those that are written.
/// @throw std::runtime_error when a name is none of a file, or of one that is written, which would destroy it
std::vector<std::string> TranscriptFiles(const std::vector<std::string>& names,
                                         const std::vector<std::string>& outputs);
