#pragma once

#include <fcntl.h>
#include <unistd.h>

/// Opens /dev/null for each of standard input, output and error that the caller closed. Call it first:
/// otherwise the next file that is opened takes the stream's number, and what is printed goes into that file,
/// which may be the FPGA. If /dev/null cannot be opened, nothing changes.
inline void OpenStandardStreams()
{
    int descriptor = STDIN_FILENO;
    while (descriptor >= STDIN_FILENO && descriptor <= STDERR_FILENO) {
        descriptor = ::open("/dev/null", O_RDWR);
    }
    if (descriptor > STDERR_FILENO) {
        ::close(descriptor);
    }
}
