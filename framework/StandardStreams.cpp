#include "framework/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

void OpenStandardStreams()
{
    int descriptor = STDIN_FILENO;
    while (descriptor >= STDIN_FILENO && descriptor <= STDERR_FILENO) {
        descriptor = ::open("/dev/null", O_RDWR);
    }
    if (descriptor > STDERR_FILENO) {
        ::close(descriptor);
    }
}
