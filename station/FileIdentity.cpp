#include "station/FileIdentity.h"

#include <sys/stat.h>

namespace
{
std::optional<FileIdentity_T> IdentityOf(int result, const struct stat& file)
{
    if (result != 0 || !S_ISREG(file.st_mode)) {
        return std::nullopt;
    }
    return FileIdentity_T{file.st_dev, file.st_ino};
}
} // namespace

std::optional<FileIdentity_T> RegularFile(int descriptor)
{
    struct stat file = {};
    return IdentityOf(::fstat(descriptor, &file), file);
}

std::optional<FileIdentity_T> RegularFile(const std::string& name)
{
    struct stat file = {};
    return IdentityOf(::stat(name.c_str(), &file), file);
}
