#include "simulator/faults/calls/CallFiles.h"
#include "simulator/faults/calls/CallPlan.h"
#include "simulator/faults/calls/NextCall.h"
#include "simulator/unit/UnitPlaces.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <span>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <termios.h>
#include <unistd.h>

extern "C" {
int CountedOpen(const char* path, int flags, ...) SONARBENCH_REPLACES("open");
int CountedOpen64(const char* path, int flags, ...) SONARBENCH_REPLACES("open64");
int CheckedOpen(const char* path, int flags) SONARBENCH_REPLACES("__open_2");
int CheckedOpen64(const char* path, int flags) SONARBENCH_REPLACES("__open64_2");
int ReplayedAccess(const char* path, int mode) SONARBENCH_REPLACES("access");
ssize_t CheckedRead(int descriptor, void* buffer, std::size_t size, std::size_t room)
    SONARBENCH_REPLACES("__read_chk");
ssize_t CountedRead(int descriptor, void* buffer, std::size_t size) SONARBENCH_REPLACES("read");
ssize_t CountedWrite(int descriptor, const void* buffer, std::size_t size) SONARBENCH_REPLACES("write");
int CountedIoctl(int descriptor, unsigned long request, ...) SONARBENCH_REPLACES("ioctl");
int CountedPoll(pollfd* entries, nfds_t count, int timeout) SONARBENCH_REPLACES("poll");
int CheckedPoll(pollfd* entries, nfds_t count, int timeout, std::size_t room)
    SONARBENCH_REPLACES("__poll_chk");
int CountedTcSetAttr(int descriptor, int actions, const termios* settings) SONARBENCH_REPLACES("tcsetattr");
int CountedClose(int descriptor) SONARBENCH_REPLACES("close");
std::FILE* CountedFdopen(int descriptor, const char* mode) SONARBENCH_REPLACES("fdopen");
}

namespace
{
using enum FaultOperation_T;

constinit CNextCall<int(const char*, int, ...)> s_Open{"open"};
constinit CNextCall<int(const char*, int, ...)> s_Open64{"open64"};
constinit CNextCall<int(const char*, int)> s_CheckedOpen{"__open_2"};
constinit CNextCall<int(const char*, int)> s_CheckedOpen64{"__open64_2"};
constinit CNextCall<int(const char*, int)> s_Access{"access"};
constinit CNextCall<ssize_t(int, void*, std::size_t)> s_Read{"read"};
constinit CNextCall<ssize_t(int, void*, std::size_t, std::size_t)> s_CheckedRead{"__read_chk"};
constinit CNextCall<ssize_t(int, const void*, std::size_t)> s_Write{"write"};
constinit CNextCall<int(int, unsigned long, ...)> s_Ioctl{"ioctl"};
constinit CNextCall<int(pollfd*, nfds_t, int)> s_Poll{"poll"};
constinit CNextCall<int(pollfd*, nfds_t, int, std::size_t)> s_CheckedPoll{"__poll_chk"};
constinit CNextCall<int(int, int, const termios*)> s_TcSetAttr{"tcsetattr"};
constinit CNextCall<int(int)> s_Close{"close"};
constinit CNextCall<std::FILE*(int, const char*)> s_Fdopen{"fdopen"};

__attribute__((constructor)) void Begin(int count, char** arguments, char**)
{
    RememberArguments(count, arguments);
    BeginCounting();
}

/// Counts a call on a node. Once a device is gone, no other fault shows.
CallEffect_T CountOnDevice()
{
    CallEffect_T effect = CountCall(Device);
    effect.error = effect.Has(CallKind_T::Gone) ? ENODEV : 0;
    return effect;
}

CallEffect_T Count(CallTarget_T target, FaultOperation_T onDevice, FaultOperation_T onFile)
{
    if (target == CallTarget_T::File) {
        return CountCall(onFile);
    }
    const CallEffect_T ofAll = CountOnDevice();
    const CallEffect_T own = CountCall(onDevice);
    return {ofAll.error != 0 ? ofAll.error : own.error, ofAll.kinds | own.kinds};
}

int Fail(int error)
{
    errno = error;
    return -1;
}

/// The path of a file that holds what a recorded use of a file read.
class CRecordedPath
{
public:
    explicit CRecordedPath(unsigned number)
    {
        constexpr std::string_view c_Directory = c_RecordedFiles;
        std::ranges::copy(c_Directory, m_Text.begin());
        std::to_chars(m_Text.data() + c_Directory.size(), m_Text.data() + m_Text.size(), number);
    }
    const char* Text() const { return m_Text.data(); }

private:
    std::array<char, 64> m_Text{};
};

/// Opens a file as it was in the recording that is replayed.
template <class Next_T>
int OpenRecorded(const Next_T& next, const char* path, int flags)
{
    const bool reads = (flags & O_ACCMODE) == O_RDONLY;
    const auto use =
        TakeRecordedUse(CPlainPath(path).Text(), {reads ? FileAccess::Read : FileAccess::Write}, "open");
    if (!use) {
        return Fail(ENOENT);
    }
    if (use->error != 0) {
        return Fail(use->error);
    }
    return reads ? next(CRecordedPath(use->number).Text()) : next(path);
}

/// @param next  opens a path
template <class Next_T>
int OpenWith(const Next_T& next, const char* path, int flags)
{
    const CallTarget_T target = TargetOf(path);
    const CallEffect_T effect = target != CallTarget_T::None ? Count(target, Open, FileOpen) : CallEffect_T{};
    if (effect.error != 0) {
        return Fail(effect.error);
    }
    const bool isRecorded = target == CallTarget_T::File && HasRecordedFiles();
    const int descriptor = isRecorded ? OpenRecorded(next, path, flags) : next(path);
    SetTarget(descriptor, target);
    return descriptor;
}

/// Half of the bytes that a read of this size would get.
std::size_t HalfOfRead(int descriptor, std::size_t size)
{
    // Not with ioctl(), which is replaced and would ask the unit's device.
    int waiting = 0;
    const bool isKnown = ::syscall(SYS_ioctl, descriptor, FIONREAD, &waiting) == 0 && waiting > 0;
    return (isKnown ? std::min(size, static_cast<std::size_t>(waiting)) : size) / 2;
}

bool IsReadable(int descriptor)
{
    pollfd entry = {descriptor, POLLIN, 0};
    return s_Poll(&entry, nfds_t{1}, 0) > 0;
}

template <class Next_T>
ssize_t ReadWith(const Next_T& next, int descriptor, void* buffer, std::size_t size)
{
    const CallTarget_T target = TargetOf(descriptor);
    if (target == CallTarget_T::None) {
        return next(size);
    }
    const CallEffect_T effect = Count(target, Read, FileRead);
    const bool wasDeceived = TakeDeceived(descriptor);
    if (effect.error != 0) {
        return Fail(effect.error);
    }
    if (effect.Has(CallKind_T::Zero)) {
        return 0;
    }
    if (wasDeceived && !IsReadable(descriptor)) {
        return Fail(EAGAIN); // the fault reported input, so the read must not wait for it
    }
    const ssize_t count = next(effect.Has(CallKind_T::Short) ? HalfOfRead(descriptor, size) : size);
    if (effect.Has(CallKind_T::Bit) && count > 0) {
        static_cast<unsigned char*>(buffer)[count / 2] ^= c_WrongBit;
    }
    return count;
}

template <class Next_T>
int PollWith(const Next_T& next, std::span<pollfd> entries)
{
    const auto isDevice = [](const pollfd& entry) { return TargetOf(entry.fd) == CallTarget_T::Device; };
    if (std::ranges::none_of(entries, isDevice)) {
        return next();
    }
    const CallEffect_T effect = Count(CallTarget_T::Device, Poll, Poll);
    const bool isGone = effect.Has(CallKind_T::Gone);
    if (effect.error != 0 && !isGone) {
        return Fail(effect.error);
    }
    const bool isNever = effect.Has(CallKind_T::Never) && !isGone;
    if (!isGone && !isNever && !effect.Has(CallKind_T::Lying)) {
        return next();
    }
    int ready = 0;
    for (pollfd& entry : entries) {
        entry.revents = 0;
        if (isDevice(entry) && !isNever) {
            entry.revents = static_cast<short>(isGone ? (entry.events & POLLIN) | POLLERR | POLLHUP : POLLIN);
            SetDeceived(entry.fd);
            ++ready;
        }
    }
    return ready;
}

// The C library's streams do not call the functions that are replaced here. A stream on a counted descriptor
// is therefore replaced by one that does.

/// A stream's cookie points to the element that its descriptor selects.
constinit std::array<char, c_FollowedDescriptors> s_Cookies{};

int DescriptorOf(void* pCookie) { return static_cast<int>(static_cast<char*>(pCookie) - s_Cookies.data()); }

ssize_t ReadStream(void* pCookie, char* buffer, std::size_t size)
{
    return CountedRead(DescriptorOf(pCookie), buffer, size);
}

/// Continues after a short write, as the C library does, and stops after an error.
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

/// Whether a descriptor with these flags allows the mode of a stream.
bool Allows(int flags, std::string_view mode)
{
    const bool isBoth = mode.find('+') != mode.npos;
    const bool reads = isBoth || mode.starts_with('r');
    const bool writes = isBoth || !mode.starts_with('r');
    const int access = flags & O_ACCMODE;
    return !(reads && access == O_WRONLY) && !(writes && access == O_RDONLY);
}
} // namespace

int CountedOpen(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): a false alarm after other files
    const mode_t mode = HasMode(flags) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return OpenWith([&](const char* opened) { return s_Open(opened, flags, mode); }, path, flags);
}

int CountedOpen64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): a false alarm after other files
    const mode_t mode = HasMode(flags) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return OpenWith([&](const char* opened) { return s_Open64(opened, flags, mode); }, path, flags);
}

int CheckedOpen(const char* path, int flags)
{
    return OpenWith([&](const char* opened) { return s_CheckedOpen(opened, flags); }, path, flags);
}

int CheckedOpen64(const char* path, int flags)
{
    return OpenWith([&](const char* opened) { return s_CheckedOpen64(opened, flags); }, path, flags);
}

int ReplayedAccess(const char* path, int mode)
{
    if (TargetOf(path) != CallTarget_T::File || !HasRecordedFiles()) {
        return s_Access(path, mode);
    }
    const auto use = TakeRecordedUse(CPlainPath(path).Text(), {FileAccess::Found}, "search");
    return use && use->error == 0 ? 0 : Fail(use ? use->error : ENOENT);
}

ssize_t CountedRead(int descriptor, void* buffer, std::size_t size)
{
    return ReadWith([&](std::size_t count) { return s_Read(descriptor, buffer, count); }, descriptor, buffer,
                    size);
}

ssize_t CheckedRead(int descriptor, void* buffer, std::size_t size, std::size_t room)
{
    return ReadWith([&](std::size_t count) { return s_CheckedRead(descriptor, buffer, count, room); },
                    descriptor, buffer, size);
}

ssize_t CountedWrite(int descriptor, const void* buffer, std::size_t size)
{
    const CallTarget_T target = TargetOf(descriptor);
    if (target == CallTarget_T::None) {
        return s_Write(descriptor, buffer, size);
    }
    // The other faults of a write to a device are played in front of the device.
    const CallEffect_T effect = target == CallTarget_T::Device ? CountOnDevice() : CountCall(FileWrite);
    if (effect.error != 0) {
        return Fail(effect.error);
    }
    if (effect.Has(CallKind_T::Zero)) {
        return 0;
    }
    if (effect.Has(CallKind_T::Lying)) {
        return static_cast<ssize_t>(size);
    }
    return s_Write(descriptor, buffer, effect.Has(CallKind_T::Short) ? size / 2 : size);
}

int CountedIoctl(int descriptor, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void* const pArgument = va_arg(arguments, void*);
    va_end(arguments);
    if (TargetOf(descriptor) == CallTarget_T::Device) {
        if (const CallEffect_T effect = CountOnDevice(); effect.error != 0) {
            return Fail(effect.error);
        }
    }
    return s_Ioctl(descriptor, request, pArgument);
}

int CountedPoll(pollfd* entries, nfds_t count, int timeout)
{
    return PollWith([&] { return s_Poll(entries, count, timeout); }, {entries, count});
}

int CheckedPoll(pollfd* entries, nfds_t count, int timeout, std::size_t room)
{
    return PollWith([&] { return s_CheckedPoll(entries, count, timeout, room); }, {entries, count});
}

int CountedTcSetAttr(int descriptor, int actions, const termios* settings)
{
    if (TargetOf(descriptor) == CallTarget_T::Device) {
        const CallEffect_T effect = Count(CallTarget_T::Device, TcSetAttr, TcSetAttr);
        if (effect.error != 0) {
            return Fail(effect.error);
        }
        if (effect.Has(CallKind_T::Lying)) {
            return 0;
        }
    }
    return s_TcSetAttr(descriptor, actions, settings);
}

int CountedClose(int descriptor)
{
    const CallTarget_T target = TargetOf(descriptor);
    if (target == CallTarget_T::None) {
        return s_Close(descriptor);
    }
    const CallEffect_T effect = Count(target, Close, FileClose);
    SetTarget(descriptor, CallTarget_T::None);
    const int result = s_Close(descriptor);
    return effect.error != 0 && !effect.Has(CallKind_T::Gone) ? Fail(effect.error) : result;
}

std::FILE* CountedFdopen(int descriptor, const char* mode)
{
    const int flags = ::fcntl(descriptor, F_GETFL);
    // The C library refuses what is not allowed.
    if (TargetOf(descriptor) == CallTarget_T::None || flags < 0 || !Allows(flags, mode)) {
        return s_Fdopen(descriptor, mode);
    }
    if (mode[0] == 'a') {
        ::fcntl(descriptor, F_SETFL, flags | O_APPEND);
    }
    return ::fopencookie(&s_Cookies[static_cast<std::size_t>(descriptor)], mode,
                         {ReadStream, WriteStream, SeekStream, CloseStream});
}
