#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

/// A regular file, whatever name it goes by.
struct FileIdentity_T {
    dev_t device;
    ino_t number;

    bool operator==(const FileIdentity_T&) const = default;
};

/// Nothing when it is no regular file, or cannot be looked at.
std::optional<FileIdentity_T> RegularFile(int descriptor);
std::optional<FileIdentity_T> RegularFile(const std::string& name);
