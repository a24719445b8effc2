// The system calls of the program under test: within a run the world answers them, the real ones elsewhere.
// The linker turns every call of NAME into __wrap_NAME, and __real_NAME into the real one;
// fuzz/CMakeLists.txt lists the names.

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

/// Result of a terminal's request.
int TerminalRequest(CFuzzDevice& device) { return device.Succeeds() ? 0 : -1; }
} // namespace

extern "C" {
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int descriptor, void* pTo, std::size_t size);
ssize_t __real_write(int descriptor, const void* pFrom, std::size_t size);
int __real_ioctl(int descriptor, unsigned long request, ...);
int __real_poll(pollfd* pEntries, nfds_t count, int timeout);
int __real_isatty(int descriptor);
int __real_tcgetattr(int descriptor, termios* pAttributes);
int __real_tcsetattr(int descriptor, int when, const termios* pAttributes);
int __real_tcflush(int descriptor, int queue);
int __real_access(const char* path, int mode);
int __real_unlink(const char* path);
int __real_system(const char* command);
void __real_sync();
int __real_nanosleep(const timespec* pTime, timespec* pRest);
int __real_sigtimedwait(const sigset_t* pSignals, siginfo_t* pInfo, const timespec* pTime);
sighandler_t __real_signal(int number, sighandler_t handler);
char* __real_getenv(const char* name);
int __real_putenv(char* text);

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

// What open() is called where files may have any size.
int __wrap_open64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned int);
    va_end(arguments);
    return __wrap_open(path, flags, mode);
}

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

int __wrap_ioctl(int descriptor, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void* const pArgument = va_arg(arguments, void*);
    va_end(arguments);
    CFuzzDevice* const pDevice = DeviceOf(descriptor);
    return pDevice != nullptr ? pDevice->Ioctl(request) : __real_ioctl(descriptor, request, pArgument);
}

int __wrap_poll(pollfd* pEntries, nfds_t count, int timeout)
{
    CFuzzDevice* const pDevice = count == 1 ? DeviceOf(pEntries->fd) : nullptr;
    return pDevice != nullptr ? pDevice->Poll() : __real_poll(pEntries, count, timeout);
}

int __wrap_isatty(int descriptor)
{
    if (World() == nullptr) {
        return __real_isatty(descriptor);
    }
    const bool isTerminal = World()->IsDevice(descriptor) && World()->isTerminal;
    errno = ENOTTY;
    return isTerminal ? 1 : 0;
}

int __wrap_tcgetattr(int descriptor, termios* pAttributes)
{
    CFuzzDevice* const pDevice = DeviceOf(descriptor);
    return pDevice != nullptr ? TerminalRequest(*pDevice) : __real_tcgetattr(descriptor, pAttributes);
}

int __wrap_tcsetattr(int descriptor, int when, const termios* pAttributes)
{
    CFuzzDevice* const pDevice = DeviceOf(descriptor);
    return pDevice != nullptr ? TerminalRequest(*pDevice) : __real_tcsetattr(descriptor, when, pAttributes);
}

int __wrap_tcflush(int descriptor, int queue)
{
    CFuzzDevice* const pDevice = DeviceOf(descriptor);
    return pDevice != nullptr ? TerminalRequest(*pDevice) : __real_tcflush(descriptor, queue);
}

int __wrap_access(const char* path, int mode)
{
    if (World() == nullptr) {
        return __real_access(path, mode);
    }
    errno = ENOENT;
    return World()->Exists(path) ? 0 : -1;
}

// Nothing of the unit's is taken away.
int __wrap_unlink(const char* path) { return World() != nullptr ? 0 : __real_unlink(path); }

int __wrap_system(const char* command)
{
    return World() != nullptr ? World()->shellResult : __real_system(command);
}

void __wrap_sync()
{
    if (World() == nullptr) {
        __real_sync();
    }
}

int __wrap_nanosleep(const timespec* pTime, timespec* pRest)
{
    return World() != nullptr ? 0 : __real_nanosleep(pTime, pRest);
}

int __wrap_sigtimedwait(const sigset_t* pSignals, siginfo_t* pInfo, const timespec* pTime)
{
    if (World() == nullptr) {
        return __real_sigtimedwait(pSignals, pInfo, pTime);
    }
    errno = EAGAIN;
    return World()->WaitEndsInStop() ? SIGINT : -1;
}

// The handlers are the fuzzer's.
sighandler_t __wrap_signal(int number, sighandler_t handler)
{
    return World() != nullptr ? SIG_DFL : __real_signal(number, handler);
}

char* __wrap_getenv(const char* name)
{
    return World() != nullptr ? const_cast<char*>(World()->Variable(name)) : __real_getenv(name);
}

int __wrap_putenv(char* text)
{
    if (World() == nullptr) {
        return __real_putenv(text);
    }
    World()->PutVariable(text);
    return 0;
}
}
