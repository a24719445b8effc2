#pragma once

#include "simulator/faults/calls/CallFiles.h"
#include "simulator/trace/TraceText.h"

#include <cstddef>
#include <ctime>
#include <poll.h>
#include <span>

// Records what the program does with the unit's devices and files. This directory is a library that is loaded
// in front of the C library, and the program that starts another one with it. The library changes nothing
// that the recorded program can see, and needs nothing but the C library. If it cannot go on, for example
// because the disk is full, it stops to write, and the trace stays "unfinished".

/// "PID DESCRIPTOR OFFSET": the process to record, the trace's open file, and where in it the line begins
/// that says whether it is complete.
inline constexpr char c_RecordingVariable[] = "SONARBENCH_RECORDING";

/// The library's file.
inline constexpr char c_RecordingLibrary[] = "libsonarbench-trace.so";

/// Begins to record if this process is the one that the environment names, and gives the process the
/// environment that it would have without the recorder.
void BeginRecording(int count, char** arguments);

/// Leaves errno alone, and measures a call.
class CRecordedCall
{
public:
    CRecordedCall();
    CRecordedCall(const CRecordedCall&) = delete;
    CRecordedCall& operator=(const CRecordedCall&) = delete;
    /// Puts errno back to what the call made it.
    ~CRecordedCall();

    /// Call it when the call has returned; takes errno.
    void End(bool hasFailed);
    /// errno of the call; 0 if it did not fail.
    int Error() const { return m_Failure; }
    RealTimes_T Times() const { return m_Times; }

private:
    RealTimes_T m_Times;
    int m_Errno;
    int m_Failure = 0;
};

// Each of these takes what was called, and the call after its end.

void RecordOpen(const CPlainPath& path, CallTarget_T target, int flags, int descriptor,
                const CRecordedCall& call);
void RecordAccess(const CPlainPath& path, const CRecordedCall& call);
void RecordRead(int descriptor, const void* pBytes, std::size_t wanted, ssize_t count,
                const CRecordedCall& call);
/// Keeps the bytes of a write or request before it is done.
void KeepBytes(const void* pBytes, std::size_t size);
/// A write; the bytes as they are after it.
void RecordWrite(int descriptor, const void* pBytes, std::size_t size, ssize_t count,
                 const CRecordedCall& call);
/// Number of bytes that the argument of a request points to; 0 for a null pointer.
std::size_t ArgumentSize(unsigned long request, const void* pArgument);
void RecordRequest(int descriptor, unsigned long request, const void* pArgument, int result,
                   const CRecordedCall& call);
void RecordPoll(std::span<const pollfd> entries, int ready, const CRecordedCall& call);
void RecordTcSetAttr(const CRecordedCall& call);
void RecordClose(int descriptor, CallTarget_T target, const CRecordedCall& call);
/// A command that a shell has carried out; the status is that of waitpid().
void RecordShell(const char* command, int status, const CRecordedCall& call);
