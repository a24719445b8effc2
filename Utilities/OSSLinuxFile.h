#pragma once

#include "Utilities/IOSSFile.h"

#include <cstdio>
#include <sys/types.h>

/// The symbolic name of an errno number, such as "ENOENT" for 2; null for a number that has none. EAGAIN and
/// EDEADLK have a second name (EWOULDBLOCK, EDEADLOCK), which is never returned.
const char* ErrnoName(int Number);

/// A Linux file, device node or pipe: one descriptor with a stdio stream on it. A write-only open holds a
/// record lock on the whole file until it is closed, which keeps two writing processes apart.
class COSSLinuxFile : public IOSSFile
{
public:
    /// Opens the file; GetErrorCode() or GetFileDescriptor() says whether that worked.
    /// @param Name  path of at most 255 characters; a longer one is an assertion
    /// @param flags, mode  as open() takes them
    COSSLinuxFile(const char* Name, int flags, int mode);
    ~COSSLinuxFile() override { Close(); }
    COSSLinuxFile(const COSSLinuxFile&) = delete;
    COSSLinuxFile& operator=(const COSSLinuxFile&) = delete;

    bool Lseek(int offset, int whence) override;
    bool Read(Buffer_Bytes_T* Buffer) override;
    bool Write(const Buffer_Bytes_T* Buffer) override;
    bool Ioctl(unsigned long request, int* argument) override;
    bool ReadStream(UINT8* Data) override;
    bool ReadStream(UINT16* Data) override;
    bool ReadStream(UINT32* Data) override;
    bool ReadStream(int* Data) override;
    bool ReadStream(unsigned long* Data) override;
    bool ReadStream(int* Data, std::size_t count) override;
    bool ReadStream(double* Data) override;
    bool ReadStream(float* Data) override;
    bool ReadStream(float* Data, std::size_t count) override;
    bool ReadStream(char* Data) override;
    bool ReadStream(char* Data, const char* Format) override;
    bool ReadStream(short* Data) override;
    bool ReadStream(short* Data, std::size_t count) override;
    bool ReadStream(bool* Data) override;
    bool WriteStream(const char* Data) override;
    int Poll(short events, int timeout) override;
    int MultiPoll(PollMembers_T* ElementsToPoll, int timeout) override;
    int GetErrorCode() const override { return m_ErrorCode; }
    int GetFileDescriptor() const override { return m_FileDescriptor; }
    bool Fseek(int offset, int whence) override;
    long Ftell() override { return m_pStream == nullptr ? -1 : std::ftell(m_pStream); }
    int Fsync() override;
    int Ftruncate(long length) override;

    /// Opens the file named at construction; the object must be closed. A file that another process holds
    /// locked fails with -140: its descriptor is open and usable, but there is no stream.
    bool Open(int flags, int mode);
    /// Closes stream and descriptor and so drops the lock. With no stream open, an error code left by an
    /// earlier operation makes the result false; the descriptor is closed all the same.
    bool Close();
    /// The stdio mode for the access bits of open() flags.
    static const char* GetFileAccess(int flags);
    /// Process that holds a record lock on the file, -1 for none; the holder is printed.
    pid_t CheckForLock();
    /// Takes the lock when the flags are write-only; a failure is in the error code.
    void ApplyLock(int flags);

private:
    /// Keeps errno as the error code when a call has failed. Returns whether it succeeded.
    bool Record(bool Succeeded);
    template <typename Call_T>
    bool Transfer(Call_T Call, const Buffer_Bytes_T& Buffer);
    template <typename Text_T, typename Destination_T>
    bool ReadNumbers(Destination_T* Data, std::size_t Count = 1);

    int m_FileDescriptor = -1;
    int m_ErrorCode = 0;
    char m_FileName[256] = {};
    std::FILE* m_pStream = nullptr;
};
