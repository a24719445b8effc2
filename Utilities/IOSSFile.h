#pragma once

#include "Utilities/ByteBuffer.h"

#include <cstddef>
#include <cstdint>
#include <vector>

using UINT8 = std::uint8_t;
using UINT16 = std::uint16_t;
using UINT32 = std::uint32_t;

/// One entry of IOSSFile::MultiPoll: a descriptor and the poll() events to wait for.
struct PollMember_T {
    int descriptor;
    short events;
};
using PollMembers_T = std::vector<PollMember_T>;

/// One open file, device node or pipe. Unless a line says otherwise, an operation returns true on success and
/// false on failure, and GetErrorCode() then holds the reason. Null arguments are assertions.
class IOSSFile
{
public:
    virtual ~IOSSFile() = default;

    /// Moves the descriptor's position; offset in bytes, whence as lseek() takes it.
    virtual bool Lseek(int offset, int whence) = 0;
    /// Reads at most the buffer's current size and sets that size to the count read; 0 bytes is success.
    virtual bool Read(Buffer_Bytes_T* Buffer) = 0;
    /// Writes the buffer's current size in one call and sets that size to the count written.
    virtual bool Write(const Buffer_Bytes_T* Buffer) = 0;
    /// Device request; the argument may be null. On failure the error code is what ioctl() returned.
    virtual bool Ioctl(unsigned long request, int* argument) = 0;

    /// Reads the next number of the file's text. Reading from a file that is not open is an assertion. Text
    /// that is no number counts as success and gives 0; at the end of the file the result is that of errno.
    virtual bool ReadStream(UINT8* Data) = 0;
    virtual bool ReadStream(UINT16* Data) = 0;
    virtual bool ReadStream(UINT32* Data) = 0;
    virtual bool ReadStream(int* Data) = 0;
    virtual bool ReadStream(unsigned long* Data) = 0;
    virtual bool ReadStream(int* Data, std::size_t count) = 0;
    virtual bool ReadStream(double* Data) = 0;
    virtual bool ReadStream(float* Data) = 0;
    virtual bool ReadStream(float* Data, std::size_t count) = 0;
    virtual bool ReadStream(char* Data) = 0;
    /// Reads with the caller's scanf format into the caller's storage, which must fit what the format takes.
    virtual bool ReadStream(char* Data, const char* Format) = 0;
    virtual bool ReadStream(short* Data) = 0;
    virtual bool ReadStream(short* Data, std::size_t count) = 0;
    virtual bool ReadStream(bool* Data) = 0;

    /// Writes a zero-terminated text and flushes it.
    virtual bool WriteStream(const char* Data) = 0;

    /// Waits for poll() events, at most timeout milliseconds. Returns what poll() returned; 0 when not open.
    virtual int Poll(short events, int timeout) = 0;
    /// Waits on several descriptors. Returns the 1-based place of the first with an event that it asked for,
    /// 0 after the time-out (milliseconds), -1 on failure; if poll() reported only other events, such as a
    /// hang-up, the number of descriptors that have one. A descriptor of -1 is an assertion.
    virtual int MultiPoll(PollMembers_T* Elements, int timeout) = 0;

    /// Reason of the last failure: an errno number, -140 for a lock held elsewhere, or 0.
    virtual int GetErrorCode() const = 0;
    /// The open descriptor, -1 when not open. Stays owned by this object.
    virtual int GetFileDescriptor() const = 0;

    /// Moves the stream's position; offset in bytes, whence as fseek() takes it.
    virtual bool Fseek(int offset, int whence) = 0;
    /// The stream's position in bytes, -1 when there is no stream.
    virtual long Ftell() = 0;
    /// Brings written data to the device. Returns 0 or the errno.
    virtual int Fsync() = 0;
    /// Cuts the file to length bytes. Returns 0 or the errno.
    virtual int Ftruncate(long length) = 0;
};
