// The system calls of the program under test; during a run, the world answers them. The linker turns every
// call of NAME into __wrap_NAME, and __real_NAME into the real one; fuzz/CMakeLists.txt lists the names. The
// real ones are called only for the fuzzer itself between runs, and for the program's files.

#include "fuzz/FuzzWorld.h"

#include <csignal>
#include <cstdarg>
#include <ctime>
#include <poll.h>
#include <termios.h>

namespace
{
CFuzzWorld* World() { return CFuzzWorld::Current(); }

CFuzzDevice* DeviceOf(int descriptor)
{
    return World() != nullptr && World()->IsDevice(descriptor) ? &World()->Device() : nullptr;
}

/// Result of a request to a terminal or driver. Files of the unit refuse such requests.
int Request(int descriptor)
{
    errno = ENOTTY;
    CFuzzDevice* const pDevice = DeviceOf(descriptor);
    return pDevice != nullptr ? pDevice->Request() : -1;
}
} // namespace

extern "C" {
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int descriptor, void* pTo, std::size_t size);
ssize_t __real_write(int descriptor, const void* pFrom, std::size_t size);
int __real_poll(pollfd* pEntries, nfds_t count, int timeout);
int __real_unlink(const char* path);
int __real_system(const char* command);
char* __real_getenv(const char* name);

int __wrap_open(const char* path, int flags, ...)
{
    if (World() != nullptr) {
        return World()->Open(path);
    }
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned int);
    va_end(arguments);
    return __real_open(path, flags, mode);
}
// The name of open() where files may have any size.
int __wrap_open64(const char* path, int flags, ...) __attribute__((alias("__wrap_open")));

ssize_t __wrap_read(int descriptor, void* pTo, std::size_t size)
{
    CFuzzDevice* const pDevice = DeviceOf(descriptor);
    return pDevice != nullptr ? pDevice->Read(static_cast<std::uint8_t*>(pTo), size)
                              : __real_read(descriptor, pTo, size);
}

ssize_t __wrap_write(int descriptor, const void* pFrom, std::size_t size)
{
    CFuzzDevice* const pDevice = DeviceOf(descriptor);
    // The driver writes there while a ping is read.
    return pDevice != nullptr ? pDevice->Write(static_cast<std::uint8_t*>(const_cast<void*>(pFrom)), size)
                              : __real_write(descriptor, pFrom, size);
}

int __wrap_poll(pollfd* pEntries, nfds_t count, int timeout)
{
    CFuzzDevice* const pDevice = count == 1 ? DeviceOf(pEntries->fd) : nullptr;
    return pDevice != nullptr ? pDevice->Poll() : __real_poll(pEntries, count, timeout);
}

int __wrap_ioctl(int descriptor, unsigned long request, ...)
{
    CFuzzDevice* const pDevice = DeviceOf(descriptor);
    return pDevice != nullptr ? pDevice->Ioctl(request) : Request(descriptor);
}
int __wrap_tcgetattr(int descriptor, termios*) { return Request(descriptor); }
int __wrap_tcsetattr(int descriptor, int, const termios*) { return Request(descriptor); }
int __wrap_tcflush(int descriptor, int) { return Request(descriptor); }

int __wrap_isatty(int descriptor)
{
    errno = ENOTTY;
    return DeviceOf(descriptor) != nullptr && World()->isTerminal ? 1 : 0;
}

int __wrap_access(const char* path, int)
{
    errno = ENOENT;
    return World()->Exists(path) ? 0 : -1;
}

// No file of the unit is removed.
int __wrap_unlink(const char* path) { return World() != nullptr ? 0 : __real_unlink(path); }

int __wrap_system(const char* command)
{
    return World() != nullptr ? World()->shellResult : __real_system(command);
}

void __wrap_sync() {}

int __wrap_nanosleep(const timespec*, timespec*) { return 0; }

int __wrap_sigtimedwait(const sigset_t*, siginfo_t*, const timespec*)
{
    errno = EAGAIN;
    return World()->WaitEndsInStop() ? SIGINT : -1;
}

// The fuzzer keeps its own handlers.
sighandler_t __wrap_signal(int, sighandler_t) { return SIG_DFL; }

char* __wrap_getenv(const char* name)
{
    return World() != nullptr ? const_cast<char*>(World()->Variable(name)) : __real_getenv(name);
}

int __wrap_putenv(char* text)
{
    World()->PutVariable(text);
    return 0;
}
}
