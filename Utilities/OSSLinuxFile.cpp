#include "Utilities/OSSLinuxFile.h"

#include "Utilities/EventCodes.h"

#include <cassert>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <type_traits>
#include <unistd.h>

namespace
{
// F_GETLK leaves l_pid as it was if no process holds a lock.
constexpr pid_t c_NoProcess = -1;

// The bits of open() flags that select reading or writing.
constexpr int c_AccessBits = 3;

/// A record lock on the whole file, also if it grows.
struct flock WholeFile(short Type)
{
    struct flock lock = {};
    lock.l_type = Type;
    lock.l_whence = SEEK_SET;
    lock.l_pid = c_NoProcess;
    return lock;
}

// The format that a number is scanned with, and the type that this format fills.
struct UnsignedText_T {
    using Filled_T = unsigned int;
    static constexpr char c_Format[] = "%u ";
};
struct SizeText_T {
    using Filled_T = std::size_t;
    static constexpr char c_Format[] = "%zu ";
};
struct SignedText_T {
    using Filled_T = int;
    static constexpr char c_Format[] = "%d ";
};
// Without the blank, the white space after the number is left to the next read.
struct SignedTextOnly_T {
    using Filled_T = int;
    static constexpr char c_Format[] = "%d";
};
struct RealText_T {
    using Filled_T = float;
    static constexpr char c_Format[] = "%f ";
};
struct RealTextOnly_T {
    using Filled_T = float;
    static constexpr char c_Format[] = "%f";
};

/// A scanned number before it is converted to its destination. Part of the contract: whole numbers pass
/// through int, so a size beyond its range wraps, and a real number's four bytes become the first four of a
/// double.
template <typename Filled_T>
auto Scanned(Filled_T Filled)
{
    if constexpr (std::is_floating_point_v<Filled_T>) {
        double scanned = 0;
        static_assert(sizeof(Filled) == 4 && sizeof(scanned) == 8);
        std::memcpy(&scanned, &Filled, sizeof(Filled));
        return scanned;
    } else {
        return static_cast<int>(Filled);
    }
}
} // namespace

const char* ErrnoName(int Number)
{
    // The C library also has names for 0 and for later numbers.
    return Number > 0 && Number <= ENOTRECOVERABLE ? strerrorname_np(Number) : nullptr;
}

COSSLinuxFile::COSSLinuxFile(const char* Name, int flags, int mode)
{
    assert(Name);
    std::memcpy(m_FileName, Name, strnlen(Name, sizeof(m_FileName)));
    assert((m_FileName[sizeof(m_FileName) - 1] == 0) && "File name is too long!");
    Open(flags, mode);
}

bool COSSLinuxFile::Record(bool Succeeded)
{
    if (!Succeeded) {
        m_ErrorCode = errno;
    }
    return Succeeded;
}

bool COSSLinuxFile::Open(int flags, int mode)
{
    m_FileDescriptor = open(m_FileName, flags, mode);
    if (!Record(m_FileDescriptor != -1)) {
        return false;
    }

    // The descriptor stays open: a device node that another process has locked can still be used.
    const pid_t holder = CheckForLock();
    if (m_ErrorCode != 0 || holder != c_NoProcess) {
        m_ErrorCode = c_FileLocked;
        return false;
    }

    ApplyLock(flags);
    if (m_ErrorCode != 0) {
        return false;
    }

    m_pStream = fdopen(m_FileDescriptor, GetFileAccess(flags));
    return Record(m_pStream != nullptr);
}

const char* COSSLinuxFile::GetFileAccess(int flags)
{
    // stdio takes the first letter: the stream of a read-write open can only read.
    static constexpr const char* c_Modes[] = {"r", "w", "rw", "r"};
    return c_Modes[flags & c_AccessBits];
}

pid_t COSSLinuxFile::CheckForLock()
{
    static constexpr struct {
        short type;
        const char* name;
    } c_Questions[] = {{F_WRLCK, "F_WRLCK"}, {F_RDLCK, "F_RDLCK"}};

    m_ErrorCode = 0;
    for (const auto& question : c_Questions) {
        struct flock lock = WholeFile(question.type);
        if (!Record(fcntl(m_FileDescriptor, F_GETLK, &lock) != -1)) {
            std::printf("Error in COSSLinuxFile::CheckForLock(%s): %d\n", question.name, m_ErrorCode);
        }
        if (lock.l_pid != c_NoProcess) {
            std::printf("%d COSSLinuxFile::CheckForLock() %s locked by %d for %d\n", getpid(), m_FileName,
                        lock.l_pid, lock.l_type);
            return lock.l_pid;
        }
    }
    return c_NoProcess;
}

void COSSLinuxFile::ApplyLock(int flags)
{
    m_ErrorCode = 0;
    // A read-write open takes no lock. Part of the contract.
    if ((flags & c_AccessBits) != O_WRONLY) {
        return;
    }

    struct flock lock = WholeFile(F_WRLCK);
    if (Record(fcntl(m_FileDescriptor, F_SETLK, &lock) != -1)) {
        return;
    }
    if (m_ErrorCode == EAGAIN) {
        m_ErrorCode = c_FileLocked;
        std::printf("%d: COSSLinuxFile::ApplyLock(%d) locked by %d %s\n", getpid(), flags, lock.l_pid,
                    m_FileName);
    } else {
        std::printf("Error in COSSLinuxFile::ApplyLock(%d): %d\n", flags, m_ErrorCode);
    }
}

bool COSSLinuxFile::Close()
{
    if (m_pStream != nullptr) {
        m_ErrorCode = 0;
        if (Record(std::fclose(m_pStream) == 0)) {
            m_FileDescriptor = -1;
        }
        m_pStream = nullptr;
    }
    // Also after a failed fclose().
    if (m_FileDescriptor != -1) {
        close(m_FileDescriptor);
    }
    m_FileDescriptor = -1;
    return m_ErrorCode == 0;
}

bool COSSLinuxFile::Lseek(int offset, int whence)
{
    if (m_FileDescriptor == -1) {
        return false;
    }
    m_ErrorCode = 0;
    return Record(lseek(m_FileDescriptor, offset, whence) != -1);
}

template <typename Call_T>
bool COSSLinuxFile::Transfer(Call_T Call, const Buffer_Bytes_T& Buffer)
{
    if (m_FileDescriptor == -1) {
        return false;
    }
    m_ErrorCode = 0;
    const ssize_t count = Call(m_FileDescriptor, Buffer.data(), Buffer.size());
    if (!Record(count != -1)) {
        return false;
    }
    Buffer.size(static_cast<std::size_t>(count));
    return true;
}

bool COSSLinuxFile::Read(Buffer_Bytes_T* Buffer)
{
    assert(Buffer);
    return Transfer(read, *Buffer);
}

bool COSSLinuxFile::Write(const Buffer_Bytes_T* Buffer)
{
    assert(Buffer);
    return Transfer(write, *Buffer);
}

bool COSSLinuxFile::Ioctl(unsigned long request, int* argument)
{
    if (m_FileDescriptor == -1) {
        return false;
    }
    // Part of the contract: the error code is what ioctl() returned, not errno.
    m_ErrorCode = ioctl(m_FileDescriptor, request, argument);
    return m_ErrorCode == 0;
}

/// Reads Count numbers. At the end of the input an element keeps its value and errno is the error code: the
/// end of a text is no failure, a file that cannot be read is one.
template <typename Text_T, typename Destination_T>
bool COSSLinuxFile::ReadNumbers(Destination_T* Data, std::size_t Count)
{
    std::FILE* const pFile = m_pStream;
    assert(Data);
    assert(pFile);
    for (std::size_t place = 0; place < Count; ++place) {
        typename Text_T::Filled_T filled = 0;
        if (std::fscanf(pFile, Text_T::c_Format, &filled) != EOF) {
            Data[place] = static_cast<Destination_T>(Scanned(filled));
            m_ErrorCode = 0;
        } else {
            m_ErrorCode = errno;
        }
    }
    return Count == 0 || m_ErrorCode == 0;
}

bool COSSLinuxFile::ReadStream(UINT8* Data) { return ReadNumbers<UnsignedText_T>(Data); }
bool COSSLinuxFile::ReadStream(UINT16* Data) { return ReadNumbers<UnsignedText_T>(Data); }
bool COSSLinuxFile::ReadStream(UINT32* Data) { return ReadNumbers<UnsignedText_T>(Data); }
bool COSSLinuxFile::ReadStream(unsigned long* Data) { return ReadNumbers<SizeText_T>(Data); }
bool COSSLinuxFile::ReadStream(int* Data) { return ReadNumbers<SignedText_T>(Data); }
bool COSSLinuxFile::ReadStream(int* Data, std::size_t count)
{
    return ReadNumbers<SignedText_T>(Data, count);
}
bool COSSLinuxFile::ReadStream(short* Data) { return ReadNumbers<SignedTextOnly_T>(Data); }
bool COSSLinuxFile::ReadStream(short* Data, std::size_t count)
{
    return ReadNumbers<SignedText_T>(Data, count);
}
bool COSSLinuxFile::ReadStream(char* Data) { return ReadNumbers<SignedText_T>(Data); }
bool COSSLinuxFile::ReadStream(bool* Data) { return ReadNumbers<SignedTextOnly_T>(Data); }
bool COSSLinuxFile::ReadStream(double* Data) { return ReadNumbers<RealTextOnly_T>(Data); }
bool COSSLinuxFile::ReadStream(float* Data) { return ReadNumbers<RealTextOnly_T>(Data); }
bool COSSLinuxFile::ReadStream(float* Data, std::size_t count)
{
    return ReadNumbers<RealText_T>(Data, count);
}

bool COSSLinuxFile::ReadStream(char* Data, const char* Format)
{
    assert(Data);
    assert(Format);
    return m_pStream != nullptr && Record(std::fscanf(m_pStream, Format, Data) != EOF);
}

bool COSSLinuxFile::WriteStream(const char* Data)
{
    assert(Data);
    if (m_pStream != nullptr) {
        m_ErrorCode = 0;
        Record(std::fputs(Data, m_pStream) != EOF);
        Record(std::fflush(m_pStream) == 0);
    }
    return m_ErrorCode == 0;
}

bool COSSLinuxFile::Fseek(int offset, int whence)
{
    if (m_pStream == nullptr) {
        return false;
    }
    m_ErrorCode = 0;
    return Record(std::fseek(m_pStream, offset, whence) != -1);
}

int COSSLinuxFile::Poll(short events, int timeout)
{
    if (m_FileDescriptor == -1) {
        return 0;
    }
    m_ErrorCode = 0;
    pollfd entry = {m_FileDescriptor, events, 0};
    const int ready = poll(&entry, 1, timeout);
    Record(ready != -1);
    return ready;
}

int COSSLinuxFile::MultiPoll(PollMembers_T* ElementsToPoll, int timeout)
{
    assert(ElementsToPoll);
    std::vector<pollfd> entries;
    entries.reserve(ElementsToPoll->size());
    for (const PollMember_T& member : *ElementsToPoll) {
        const int fd = member.descriptor;
        assert((fd != -1) && "bad FileDescriptor specified");
        entries.push_back({fd, member.events, 0});
    }

    m_ErrorCode = 0;
    const int ready = poll(entries.data(), entries.size(), timeout);
    if (!Record(ready != -1) || ready == 0) {
        return ready;
    }
    int place = 0;
    for (const pollfd& entry : entries) {
        ++place;
        if ((entry.revents & entry.events) != 0) {
            return place;
        }
    }
    return ready;
}

int COSSLinuxFile::Fsync()
{
    if (m_FileDescriptor == -1 || fsync(m_FileDescriptor) == 0) {
        return 0;
    }
    return errno;
}

int COSSLinuxFile::Ftruncate(long length)
{
    if (m_FileDescriptor == -1 || ftruncate(m_FileDescriptor, length) == 0) {
        return 0;
    }
    const int error = errno;
    std::printf("Error in COSSLinuxFile::Ftruncate(): %d\n", error);
    return error;
}
