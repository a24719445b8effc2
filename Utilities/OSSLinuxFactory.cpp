#include "Utilities/OSSLinuxFactory.h"

#include "Utilities/OSSLinuxFile.h"
#include "Utilities/OSSLinuxNetwork.h"

#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <initializer_list>
#include <sys/stat.h>

namespace
{
/// Runs a shell command, whose exit status does not count.
TSQEventCode_T Shell(std::initializer_list<const char*> Pieces)
{
    std::string command;
    for (const char* piece : Pieces) {
        command += piece;
    }
    // That these jobs are shell commands is part of the contract.
    // NOLINTNEXTLINE(cert-env33-c)
    return std::system(command.c_str()) < 0 ? c_ShellNotStarted : c_Success;
}

TSQEventCode_T ErrnoUnlessZero(int Result) { return Result == 0 ? c_Success : errno; }

/// Part of the contract: only a negative result is a failure, although pthread calls fail with positive ones.
TSQEventCode_T ThreadCall(int Result) { return Result < 0 ? c_ThreadCallFailed : c_Success; }

void CloseDirectory(DIR* pDirectory)
{
    if (closedir(pDirectory) != 0) {
        assert(0 && "closedir returned failure!");
    }
}
} // namespace

// The objects made here are handed over by raw pointer: the caller deletes them.

IOSSFile* COSSLinuxFactory::CreatePipe(const char* Name, int flags)
{
    assert(Name);
    return new COSSLinuxFile(Name, flags, 0);
}

IOSSFile* COSSLinuxFactory::CreateFile(const char* Name, int flags, int mode)
{
    assert(Name);
    return new COSSLinuxFile(Name, flags, mode);
}

IOSSNetwork* COSSLinuxFactory::CreateSocket(int domain, int type, int protocol, NetworkInterface_T Interface)
{
    return new COSSLinuxNetwork(domain, type, protocol, Interface);
}

const char* COSSLinuxFactory::GetEnv(const char* Name)
{
    assert(Name);
    return std::getenv(Name);
}

TSQEventCode_T COSSLinuxFactory::SetEnv(const char* Name, const char* Value, bool overwrite)
{
    assert(Name);
    assert(Value);
    return ErrnoUnlessZero(setenv(Name, Value, overwrite ? 1 : 0));
}

TSQEventCode_T COSSLinuxFactory::Makedir(const char* Name, mode_t mode)
{
    assert(Name);
    return ErrnoUnlessZero(mkdir(Name, mode));
}

TSQEventCode_T COSSLinuxFactory::RemoveDirs(const char* Name, bool recursive)
{
    assert(Name);
    return Shell({recursive ? "rm -rf " : "rmdir ", Name});
}

TSQEventCode_T COSSLinuxFactory::CopyDirs(const char* From, const char* To)
{
    assert(From);
    assert(To);
    return Shell({"cp -rp ", From, "/* ", To});
}

TSQEventCode_T COSSLinuxFactory::CreateFullPath(const char* FullPath)
{
    assert(FullPath);
    return Shell({"mkdir -p ", FullPath});
}

TSQEventCode_T COSSLinuxFactory::CopyFile(const char* From, const char* To, BackGroundCopy_T BackGround)
{
    assert(From);
    assert(To);
    return Shell({"cp -f ", From, " ", To, BackGround == BACKGROUND_COPY ? " &" : ""});
}

TSQEventCode_T COSSLinuxFactory::MoveFile(const char* From, const char* To)
{
    assert(From);
    assert(To);
    return Shell({"mv -f ", From, " ", To});
}

TSQEventCode_T COSSLinuxFactory::CreateSoftLink(const char* Target, const char* Link)
{
    assert(Target);
    assert(Link);
    return Shell({"ln -s ", Target, " ", Link});
}

TSQEventCode_T COSSLinuxFactory::RemoveFiles(const char* Path, const char* Name)
{
    assert(Name);
    assert(Path);
    return Shell({"rm -rf ", Path, "/", Name});
}

TSQEventCode_T COSSLinuxFactory::Sync() { return Shell({"sync"}); }

bool COSSLinuxFactory::CheckForFile(const char* FullPath, const char* FileName)
{
    assert(FullPath);
    assert(FileName);
    assert((FileName[0] != '/') &&
           "FileName should not include a leading slash, that could be the end of the FullPath");

    DIR* const pDirectory = opendir(FullPath);
    if (pDirectory == nullptr) {
        return false;
    }
    const dirent* pEntry = readdir(pDirectory);
    while (pEntry != nullptr && !(pEntry->d_type == DT_REG && std::strcmp(pEntry->d_name, FileName) == 0)) {
        pEntry = readdir(pDirectory);
    }
    const bool found = pEntry != nullptr;
    CloseDirectory(pDirectory);
    return found;
}

bool COSSLinuxFactory::CheckForDir(const char* FullPath)
{
    assert(FullPath);
    DIR* const pDirectory = opendir(FullPath);
    if (pDirectory == nullptr) {
        std::printf("COSSLinuxFactory::CheckForDir: %s::%s ", FullPath, std::strerror(errno));
        return false;
    }
    CloseDirectory(pDirectory);
    return true;
}

TSQEventCode_T COSSLinuxFactory::CreateThread(pthread_t* pThread, const pthread_attr_t* pAttributes,
                                              void* (*pRoutine)(void*), void* pArgument)
{
    return ThreadCall(pthread_create(pThread, pAttributes, pRoutine, pArgument));
}

TSQEventCode_T COSSLinuxFactory::JoinThread(pthread_t Thread, void** ppResult)
{
    return ThreadCall(pthread_join(Thread, ppResult));
}

TSQEventCode_T COSSLinuxFactory::DetachThread(pthread_t Thread) { return ThreadCall(pthread_detach(Thread)); }

TSQEventCode_T COSSLinuxFactory::InitThreadAttributes(pthread_attr_t* pAttributes)
{
    return ThreadCall(pthread_attr_init(pAttributes));
}

std::uint32_t COSSLinuxFactory::GetFileSize(const char* file)
{
    struct stat status = {};
    if (stat(file, &status) != 0) {
        SendEvent(c_EventInformation, errno, "COSSLinuxFactory::GetFileSize", file);
        return 0;
    }
    return static_cast<std::uint32_t>(status.st_size);
}
