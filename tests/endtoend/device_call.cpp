#include <cstring>
#include <fcntl.h>
#include <unistd.h>

/// Usage: device_call NODE TEXT. Writes the text to the node in one write, as sonarbench never would; exits
/// with 0 when the write succeeded.
int main(int, char** argv)
{
    const int descriptor = ::open(argv[1], O_RDWR | O_CLOEXEC);
    return ::write(descriptor, argv[2], std::strlen(argv[2])) == -1 ? 1 : 0;
}
