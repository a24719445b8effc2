#pragma once

#include <filesystem>

/// A file that belongs to the simulator, by its name: it lies beside the simulator's program or, as
/// installed, in the library directory. Throws std::runtime_error when it is missing.
std::filesystem::path Companion(const char* name);
