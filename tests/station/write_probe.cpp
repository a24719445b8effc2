// Loaded into sonarbench-station, it numbers the calls that change a disk. At the call of
// SONARBENCH_PROBE_CALL the process ends before it ("kill") or in the middle of what it writes ("half"), or
// from there on the disk is full ("full"), as SONARBENCH_PROBE_HOW says.

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace
{
constexpr int c_Killed = 99;

template <class Function_T>
Function_T Next(Function_T, const char* name)
{
    return reinterpret_cast<Function_T>(::dlsym(RTLD_NEXT, name));
}

enum class Fate { Usual, Half, Full };

/// What happens to the call that is counted here.
Fate Count()
{
    static int calls = 0;
    const char* const pCall = std::getenv("SONARBENCH_PROBE_CALL");
    const char* const pHow = std::getenv("SONARBENCH_PROBE_HOW");
    // What the station starts is loaded with this library as well.
    if (pCall == nullptr || pHow == nullptr ||
        std::strcmp(program_invocation_short_name, "sonarbench-station") != 0) {
        return Fate::Usual;
    }
    const int wanted = std::atoi(pCall);
    ++calls;
    if (calls < wanted) {
        return Fate::Usual;
    }
    const std::string_view how = pHow;
    if (how == "kill") {
        ::_exit(c_Killed);
    }
    return how == "half" ? Fate::Half : Fate::Full;
}

template <class Call_T>
int Counted(Call_T call)
{
    const Fate fate = Count();
    if (fate == Fate::Full) {
        errno = ENOSPC;
        return -1;
    }
    const int result = call();
    if (fate == Fate::Half) {
        ::_exit(c_Killed);
    }
    return result;
}
} // namespace

extern "C" {
int open(const char* name, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) == 0 ? mode_t{0} : va_arg(arguments, mode_t);
    va_end(arguments);
    // The large files' name of open(), which the build gives to both sides.
    const auto next = [&] { return Next(::open, "open64")(name, flags, mode); };
    return (flags & O_CREAT) == 0 ? next() : Counted(next);
}

ssize_t write(int descriptor, const void* bytes, size_t size)
{
    const auto next = Next(::write, "write");
    if (descriptor <= STDERR_FILENO) {
        return next(descriptor, bytes, size);
    }
    switch (Count()) {
    case Fate::Full:
        errno = ENOSPC;
        return -1;
    case Fate::Half:
        next(descriptor, bytes, size / 2);
        ::_exit(c_Killed);
    case Fate::Usual:
        break;
    }
    return next(descriptor, bytes, size);
}

int rename(const char* from, const char* to) noexcept
{
    return Counted([&] { return Next(::rename, "rename")(from, to); });
}

int unlink(const char* name) noexcept
{
    return Counted([&] { return Next(::unlink, "unlink")(name); });
}

int mkdir(const char* name, mode_t mode) noexcept
{
    return Counted([&] { return Next(::mkdir, "mkdir")(name, mode); });
}

int fsync(int descriptor)
{
    return Counted([&] { return Next(::fsync, "fsync")(descriptor); });
}
}
