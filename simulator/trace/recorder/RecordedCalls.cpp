#include "simulator/faults/calls/NextCall.h"
#include "simulator/trace/recorder/Recorder.h"

#include <cstdarg>
#include <cstdlib>
#include <optional>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

extern "C" {
int RecordedOpen(const char* path, int flags, ...) SONARBENCH_REPLACES("open");
int RecordedOpen64(const char* path, int flags, ...) SONARBENCH_REPLACES("open64");
int RecordedCheckedOpen(const char* path, int flags) SONARBENCH_REPLACES("__open_2");
int RecordedCheckedOpen64(const char* path, int flags) SONARBENCH_REPLACES("__open64_2");
int RecordedAccess(const char* path, int mode) SONARBENCH_REPLACES("access");
ssize_t RecordedRead(int descriptor, void* buffer, std::size_t size) SONARBENCH_REPLACES("read");
ssize_t RecordedCheckedRead(int descriptor, void* buffer, std::size_t size, std::size_t room)
    SONARBENCH_REPLACES("__read_chk");
ssize_t RecordedWrite(int descriptor, const void* buffer, std::size_t size) SONARBENCH_REPLACES("write");
int RecordedIoctl(int descriptor, unsigned long request, ...) SONARBENCH_REPLACES("ioctl");
// The name on 32-bit machines whose C library has times of 64 bits.
int RecordedIoctlTime64(int descriptor, unsigned long request, ...) SONARBENCH_REPLACES("__ioctl_time64");
int RecordedPoll(pollfd* entries, nfds_t count, int timeout) SONARBENCH_REPLACES("poll");
int RecordedCheckedPoll(pollfd* entries, nfds_t count, int timeout, std::size_t room)
    SONARBENCH_REPLACES("__poll_chk");
int RecordedTcSetAttr(int descriptor, int actions, const termios* settings) SONARBENCH_REPLACES("tcsetattr");
int RecordedClose(int descriptor) SONARBENCH_REPLACES("close");
int RecordedSystem(const char* command) SONARBENCH_REPLACES("system");
}

namespace
{
constinit CNextCall<int(const char*, int, ...)> s_Open{"open"};
constinit CNextCall<int(const char*, int, ...)> s_Open64{"open64"};
constinit CNextCall<int(const char*, int)> s_CheckedOpen{"__open_2"};
constinit CNextCall<int(const char*, int)> s_CheckedOpen64{"__open64_2"};
constinit CNextCall<int(const char*, int)> s_Access{"access"};
constinit CNextCall<ssize_t(int, void*, std::size_t)> s_Read{"read"};
constinit CNextCall<ssize_t(int, void*, std::size_t, std::size_t)> s_CheckedRead{"__read_chk"};
constinit CNextCall<ssize_t(int, const void*, std::size_t)> s_Write{"write"};
constinit CNextCall<int(int, unsigned long, ...)> s_Ioctl{"ioctl"};
constinit CNextCall<int(int, unsigned long, ...)> s_IoctlTime64{"__ioctl_time64"};
constinit CNextCall<int(pollfd*, nfds_t, int)> s_Poll{"poll"};
constinit CNextCall<int(pollfd*, nfds_t, int, std::size_t)> s_CheckedPoll{"__poll_chk"};
constinit CNextCall<int(int, int, const termios*)> s_TcSetAttr{"tcsetattr"};
constinit CNextCall<int(int)> s_Close{"close"};
constinit CNextCall<int(const char*)> s_System{"system"};

__attribute__((constructor)) void Begin(int count, char** arguments, char**)
{
    BeginRecording(count, arguments);
}

/// Does a call of which -1 is the failure, and lets it be recorded.
template <class Next_T, class Record_T>
auto Done(const Next_T& next, const Record_T& record)
{
    CRecordedCall call;
    const auto result = next();
    call.End(result < 0);
    record(result, call);
    return result;
}

template <class Next_T>
int OpenWith(const Next_T& next, const char* path, int flags)
{
    if (path == nullptr || !IsCounting()) {
        return next();
    }
    const CPlainPath plain(path);
    const CallTarget_T target = TargetOf(plain);
    if (target == CallTarget_T::None) {
        return next();
    }
    return Done(next, [&](int descriptor, const CRecordedCall& call) {
        RecordOpen(plain, target, flags, descriptor, call);
    });
}

template <class Next_T>
ssize_t ReadWith(const Next_T& next, int descriptor, const void* pBuffer, std::size_t size)
{
    if (TargetOf(descriptor) == CallTarget_T::None) {
        return next();
    }
    return Done(next, [&](ssize_t count, const CRecordedCall& call) {
        RecordRead(descriptor, pBuffer, size, count, call);
    });
}

template <class Next_T>
int IoctlWith(const Next_T& next, int descriptor, unsigned long request, const void* pArgument)
{
    if (TargetOf(descriptor) != CallTarget_T::Device) {
        return next();
    }
    KeepBytes(pArgument, ArgumentSize(request, pArgument));
    return Done(next, [&](int result, const CRecordedCall& call) {
        RecordRequest(descriptor, request, pArgument, result, call);
    });
}

template <class Next_T>
int PollWith(const Next_T& next, std::span<const pollfd> entries)
{
    if (!IsCounting()) {
        return next();
    }
    return Done(next, [&](int ready, const CRecordedCall& call) { RecordPoll(entries, ready, call); });
}
} // namespace

int RecordedOpen(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): a false alarm after other files
    const mode_t mode = HasMode(flags) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return OpenWith([&] { return s_Open(path, flags, mode); }, path, flags);
}

int RecordedOpen64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): a false alarm after other files
    const mode_t mode = HasMode(flags) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return OpenWith([&] { return s_Open64(path, flags, mode); }, path, flags);
}

int RecordedCheckedOpen(const char* path, int flags)
{
    return OpenWith([&] { return s_CheckedOpen(path, flags); }, path, flags);
}

int RecordedCheckedOpen64(const char* path, int flags)
{
    return OpenWith([&] { return s_CheckedOpen64(path, flags); }, path, flags);
}

int RecordedAccess(const char* path, int mode)
{
    const auto next = [&] { return s_Access(path, mode); };
    if (path == nullptr || !IsCounting()) {
        return next();
    }
    const CPlainPath plain(path);
    if (TargetOf(plain) != CallTarget_T::File) {
        return next();
    }
    return Done(next, [&](int, const CRecordedCall& call) { RecordAccess(plain, call); });
}

ssize_t RecordedRead(int descriptor, void* buffer, std::size_t size)
{
    return ReadWith([&] { return s_Read(descriptor, buffer, size); }, descriptor, buffer, size);
}

ssize_t RecordedCheckedRead(int descriptor, void* buffer, std::size_t size, std::size_t room)
{
    return ReadWith([&] { return s_CheckedRead(descriptor, buffer, size, room); }, descriptor, buffer, size);
}

ssize_t RecordedWrite(int descriptor, const void* buffer, std::size_t size)
{
    const auto next = [&] { return s_Write(descriptor, buffer, size); };
    const CallTarget_T target = TargetOf(descriptor);
    if (target == CallTarget_T::None) {
        return next();
    }
    if (target == CallTarget_T::Device) {
        KeepBytes(buffer, size);
    }
    return Done(next, [&](ssize_t count, const CRecordedCall& call) {
        RecordWrite(descriptor, buffer, size, count, call);
    });
}

int RecordedIoctl(int descriptor, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void* const pArgument = va_arg(arguments, void*);
    va_end(arguments);
    return IoctlWith([&] { return s_Ioctl(descriptor, request, pArgument); }, descriptor, request, pArgument);
}

int RecordedIoctlTime64(int descriptor, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void* const pArgument = va_arg(arguments, void*);
    va_end(arguments);
    return IoctlWith([&] { return s_IoctlTime64(descriptor, request, pArgument); }, descriptor, request,
                     pArgument);
}

int RecordedPoll(pollfd* entries, nfds_t count, int timeout)
{
    return PollWith([&] { return s_Poll(entries, count, timeout); }, {entries, count});
}

int RecordedCheckedPoll(pollfd* entries, nfds_t count, int timeout, std::size_t room)
{
    return PollWith([&] { return s_CheckedPoll(entries, count, timeout, room); }, {entries, count});
}

int RecordedTcSetAttr(int descriptor, int actions, const termios* settings)
{
    const auto next = [&] { return s_TcSetAttr(descriptor, actions, settings); };
    if (TargetOf(descriptor) != CallTarget_T::Device) {
        return next();
    }
    return Done(next, [](int, const CRecordedCall& call) { RecordTcSetAttr(call); });
}

int RecordedClose(int descriptor)
{
    const auto next = [&] { return s_Close(descriptor); };
    const CallTarget_T target = TargetOf(descriptor);
    if (target == CallTarget_T::None) {
        return next();
    }
    return Done(next, [&](int, const CRecordedCall& call) { RecordClose(descriptor, target, call); });
}

int RecordedSystem(const char* command)
{
    const auto next = [&] { return s_System(command); };
    if (command == nullptr || !IsCounting()) {
        return next();
    }
    return Done(next, [&](int status, const CRecordedCall& call) { RecordShell(command, status, call); });
}
