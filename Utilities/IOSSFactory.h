#pragma once

#include "Utilities/EventCodes.h"
#include "Utilities/IOSSFile.h"
#include "Utilities/IOSSNetwork.h"

#include <cstdint>
#include <pthread.h>
#include <string>
#include <sys/types.h>

/// Receives a task's error status; this platform only stores the pointer.
class IDatabaseErrorStatusMessage;
/// File-change notifier; this platform has none.
class IOSSNotify;

/// How CopyFile copies: 0 returns before the copy ends, any other value waits for it.
enum BackGroundCopy_T { BACKGROUND_COPY = 0, FOREGROUND_COPY = 1 };

/// The operating-system services. Null arguments are assertions. The operations that run a shell command
/// return 0, or -101 when system() fails; the exit status of the command itself does not count.
class IOSSFactory
{
public:
    virtual ~IOSSFactory() = default;

    virtual void SetTaskName(const std::string& Name) = 0;
    virtual std::string GetTaskName() = 0;
    virtual void SetDBErrorStatusMessageInterface(IDatabaseErrorStatusMessage* pSink) = 0;

    /// Opens a pipe or a file; flags and mode as open() takes them. The object is returned even when the open
    /// failed (ask its GetErrorCode) and belongs to the caller, who deletes it.
    virtual IOSSFile* CreatePipe(const char* Name, int flags) = 0;
    virtual IOSSFile* CreateFile(const char* Name, int flags, int mode) = 0;
    /// Opens a socket; it belongs to the caller, who deletes it.
    virtual IOSSNetwork* CreateSocket(int domain, int type, int protocol, NetworkInterface_T Interface) = 0;
    /// Always null on this platform.
    virtual IOSSNotify* CreateNotify() = 0;

    /// Value of an environment variable, null when unset.
    virtual const char* GetEnv(const char* Name) = 0;
    /// Sets an environment variable. Returns 0 or the errno.
    virtual TSQEventCode_T SetEnv(const char* Name, const char* Value, bool overwrite) = 0;

    /// Makes one directory. Returns 0 or the errno.
    virtual TSQEventCode_T Makedir(const char* Name, mode_t mode) = 0;
    virtual TSQEventCode_T RemoveDirs(const char* Name, bool recursive) = 0;
    /// Copies the contents of the directory From into the directory To.
    virtual TSQEventCode_T CopyDirs(const char* From, const char* To) = 0;
    /// Makes a directory and its missing parents.
    virtual TSQEventCode_T CreateFullPath(const char* FullPath) = 0;
    virtual TSQEventCode_T CopyFile(const char* From, const char* To, BackGroundCopy_T BackGround) = 0;
    virtual TSQEventCode_T MoveFile(const char* From, const char* To) = 0;

    /// Whether the directory FullPath holds a regular file of exactly this name.
    virtual bool CheckForFile(const char* FullPath, const char* FileName) = 0;
    /// Whether the directory can be opened; a failure is printed.
    virtual bool CheckForDir(const char* FullPath) = 0;

    virtual TSQEventCode_T CreateSoftLink(const char* Target, const char* Link) = 0;
    virtual TSQEventCode_T RemoveFiles(const char* Path, const char* Name) = 0;
    virtual TSQEventCode_T Sync() = 0;

    /// Diagnostics of the lower layers: level 6 informs, level 3 is an error; origin is "Class::Method". This
    /// platform has no event service: nothing happens and 0 is returned.
    virtual TSQEventCode_T SendEvent(int level, int code, const char* origin, const char* text) = 0;

    /// Thread calls with the arguments of their pthread namesakes. Return -172 when the call's result is
    /// negative, else 0; pthread failures are positive and so give 0.
    virtual TSQEventCode_T CreateThread(pthread_t* pThread, const pthread_attr_t* pAttributes,
                                        void* (*pRoutine)(void*), void* pArgument) = 0;
    virtual TSQEventCode_T JoinThread(pthread_t Thread, void** ppResult) = 0;
    virtual TSQEventCode_T DetachThread(pthread_t Thread) = 0;
    virtual TSQEventCode_T InitThreadAttributes(pthread_attr_t* pAttributes) = 0;

    /// Does nothing on this platform and returns 0.
    virtual TSQEventCode_T SendAckToErrorHandler(const char* text) = 0;

    /// Low 32 bits of the file's size in bytes; 0 when it cannot be examined.
    virtual std::uint32_t GetFileSize(const char* file) = 0;
};
