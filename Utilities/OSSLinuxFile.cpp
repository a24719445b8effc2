#include "Utilities/OSSLinuxFile.h"

#include "Utilities/EventCodes.h"

#include <cassert>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
// A process id that no process has: it stays in the record when nobody holds a lock.
constexpr pid_t c_NoProcess = -1;

// The bits of open() flags that tell reading from writing.
constexpr int c_AccessBits = 3;

/// A record lock from the first byte to whatever the end of the file becomes.
struct flock WholeFile(short Type)
{
    struct flock lock = {};
    lock.l_type = Type;
    lock.l_whence = SEEK_SET;
    lock.l_pid = c_NoProcess;
    return lock;
}
} // namespace

COSSLinuxFile::COSSLinuxFile(const char* Name, int flags, int mode)
{
    assert(Name);
    std::memcpy(m_FileName, Name, strnlen(Name, sizeof(m_FileName)));
    assert((m_FileName[sizeof(m_FileName) - 1] == 0) && "File name is too long!");
    Open(flags, mode);
}

COSSLinuxFile::~COSSLinuxFile() { Close(); }

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

    // The descriptor stays open: a device node that somebody else holds can still be driven through it.
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
    // stdio goes by the first letter: the stream of a read-write open reads, writing is left to the
    // descriptor.
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
    // A read-write open takes no lock: device nodes are opened so, and several programs may drive one.
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
    // Also after a failed fclose, which need not have come as far as the descriptor.
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
    // The driver's answer itself is the error code: callers tell its values apart, errno would hide them.
    m_ErrorCode = ioctl(m_FileDescriptor, request, argument);
    return m_ErrorCode == 0;
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

int COSSLinuxFile::GetErrorCode() const { return m_ErrorCode; }

int COSSLinuxFile::GetFileDescriptor() const { return m_FileDescriptor; }

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
