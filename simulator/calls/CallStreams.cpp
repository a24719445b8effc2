// The C library's streams make their calls past the functions that stand in front of it. A stream on a
// counted descriptor is therefore one whose calls are ours.

#include "simulator/calls/CallFiles.h"
#include "simulator/calls/Calls.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

extern "C" {
std::FILE* CountedFdopen(int descriptor, const char* mode) SONARBENCH_REPLACES("fdopen");
}

namespace
{

constinit CNextCall<std::FILE*(int, const char*)> s_Fdopen{"fdopen"};

/// A stream's cookie is the place of its descriptor here.
constinit std::array<char, c_FollowedDescriptors> s_Cookies{};

int DescriptorOf(void* pCookie) { return static_cast<int>(static_cast<char*>(pCookie) - s_Cookies.data()); }

ssize_t ReadStream(void* pCookie, char* buffer, std::size_t size)
{
    return CountedRead(DescriptorOf(pCookie), buffer, size);
}

/// Writes on after a short write, as the C library does, and gives up after an error.
ssize_t WriteStream(void* pCookie, const char* buffer, std::size_t size)
{
    std::size_t written = 0;
    while (written < size) {
        const ssize_t count = CountedWrite(DescriptorOf(pCookie), buffer + written, size - written);
        if (count < 0) {
            break;
        }
        written += static_cast<std::size_t>(count);
    }
    return static_cast<ssize_t>(written);
}

int SeekStream(void* pCookie, off64_t* pPlace, int whence)
{
    const off64_t place = ::lseek64(DescriptorOf(pCookie), *pPlace, whence);
    *pPlace = place < 0 ? *pPlace : place;
    return place < 0 ? -1 : 0;
}

int CloseStream(void* pCookie) { return CountedClose(DescriptorOf(pCookie)); }

/// Whether a descriptor of these flags can do what the mode of a stream asks for.
bool Allows(int flags, std::string_view mode)
{
    const bool isBoth = mode.find('+') != mode.npos;
    const bool reads = isBoth || mode.starts_with('r');
    const bool writes = isBoth || !mode.starts_with('r');
    const int access = flags & O_ACCMODE;
    return !(reads && access == O_WRONLY) && !(writes && access == O_RDONLY);
}

} // namespace

std::FILE* CountedFdopen(int descriptor, const char* mode)
{
    const int flags = ::fcntl(descriptor, F_GETFL);
    // What the C library refuses, it refuses itself.
    if (TargetOf(descriptor) == CallTarget_T::None || flags < 0 || !Allows(flags, mode)) {
        return s_Fdopen(descriptor, mode);
    }
    if (mode[0] == 'a') {
        ::fcntl(descriptor, F_SETFL, flags | O_APPEND);
    }
    return ::fopencookie(&s_Cookies[static_cast<std::size_t>(descriptor)], mode,
                         {ReadStream, WriteStream, SeekStream, CloseStream});
}
