#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace
{
constexpr unsigned long c_ConfigureSpi = 0x80047202;
constexpr unsigned char c_ReadVersion[] = {'C', 'S', 2, 0, 1, 0, 0, 0, 0};
constexpr int c_ReplyTimeoutMs = 1000;

/// Prints a call's result, an error by its name.
template <class Result_T>
Result_T Tell(const char* call, Result_T result)
{
    std::printf(" %s=%s", call, result < 0 ? strerrorname_np(errno) : std::to_string(result).c_str());
    return result;
}

void Read(int descriptor)
{
    unsigned char bytes[6];
    const ssize_t count = Tell("read", read(descriptor, bytes, sizeof bytes));
    for (ssize_t i = 0; i < count; ++i) {
        std::printf("%s%02x", i == 0 ? ":" : "", bytes[i]);
    }
}

/// Reads what is there when the time is over.
void PollAndRead(int descriptor, int timeout)
{
    pollfd entry = {descriptor, POLLIN, 0};
    Tell("poll", poll(&entry, 1, timeout));
    std::printf("%s", (entry.revents & POLLHUP) != 0 ? ":hup" : "");
    if ((entry.revents & POLLIN) != 0) {
        Read(descriptor);
    }
}

void UseDevice(int descriptor)
{
    termios settings{};
    tcgetattr(descriptor, &settings);
    cfsetspeed(&settings, B115200);
    Tell("tcsetattr", tcsetattr(descriptor, TCSANOW, &settings));
    tcgetattr(descriptor, &settings);
    std::printf("%s", cfgetospeed(&settings) == B115200 ? ":set" : "");
    Tell("ioctl", ioctl(descriptor, c_ConfigureSpi, nullptr));
    PollAndRead(descriptor, 0);
    Tell("write", write(descriptor, c_ReadVersion, sizeof c_ReadVersion));
    PollAndRead(descriptor, c_ReplyTimeoutMs);
}

void WriteBack(int descriptor)
{
    Tell("write", write(descriptor, "abcdef", 6));
    char written[7] = {};
    std::printf(":%s", pread(descriptor, written, 6, 0) < 0 ? "?" : written);
}

void Use(const char* name, int flags, void (*use)(int))
{
    const int descriptor = open(name, flags | O_CLOEXEC, 0600);
    Tell("open", descriptor < 0 ? -1 : 0); // the number has no meaning
    if (descriptor >= 0) {
        use(descriptor);
        Tell("close", close(descriptor));
    }
    std::printf(" |");
}
} // namespace

/// Usage: call_probe FILE. Makes each kind of call on a node, on the file and on files that it creates, and
/// prints their results in one line.
int main(int, char** argv)
{
    Use("/dev/LSfpga0", O_RDWR | O_NOCTTY, UseDevice);
    Use(argv[1], O_RDONLY, Read);
    Use("/tmp/note", O_RDWR | O_CREAT, WriteBack);
    std::FILE* const pStream = fdopen(open("/tmp/stream", O_WRONLY | O_CREAT | O_CLOEXEC, 0600), "w");
    std::fputs("abcdef", pStream);
    Tell("fclose", std::fclose(pStream));
    std::printf("\n");
    return 0;
}
