#pragma once

#include "Utilities/IOSSFactory.h"

#include <string>

/// The operating-system services on Linux. Jobs on files are shell commands, and names are not quoted: blanks
/// split a name and wildcards match.
class COSSLinuxFactory : public IOSSFactory
{
public:
    void SetTaskName(const std::string& Name) override { m_TaskName = Name; }
    std::string GetTaskName() override { return m_TaskName; }
    void SetDBErrorStatusMessageInterface(IDatabaseErrorStatusMessage* pSink) override
    {
        m_pErrorStatusSink = pSink;
    }
    IOSSFile* CreatePipe(const char* Name, int flags) override;
    IOSSFile* CreateFile(const char* Name, int flags, int mode) override;
    IOSSNetwork* CreateSocket(int domain, int type, int protocol, NetworkInterface_T Interface) override;
    IOSSNotify* CreateNotify() override { return nullptr; }
    const char* GetEnv(const char* Name) override;
    TSQEventCode_T SetEnv(const char* Name, const char* Value, bool overwrite) override;
    TSQEventCode_T Makedir(const char* Name, mode_t mode) override;
    TSQEventCode_T RemoveDirs(const char* Name, bool recursive) override;
    TSQEventCode_T CopyDirs(const char* From, const char* To) override;
    TSQEventCode_T CreateFullPath(const char* FullPath) override;
    TSQEventCode_T CopyFile(const char* From, const char* To, BackGroundCopy_T BackGround) override;
    TSQEventCode_T MoveFile(const char* From, const char* To) override;
    bool CheckForFile(const char* FullPath, const char* FileName) override;
    bool CheckForDir(const char* FullPath) override;
    TSQEventCode_T CreateSoftLink(const char* Target, const char* Link) override;
    TSQEventCode_T RemoveFiles(const char* Path, const char* Name) override;
    TSQEventCode_T Sync() override;
    TSQEventCode_T SendEvent(int, int, const char*, const char*) override { return c_Success; }
    TSQEventCode_T CreateThread(pthread_t* pThread, const pthread_attr_t* pAttributes,
                                void* (*pRoutine)(void*), void* pArgument) override;
    TSQEventCode_T JoinThread(pthread_t Thread, void** ppResult) override;
    TSQEventCode_T DetachThread(pthread_t Thread) override;
    TSQEventCode_T InitThreadAttributes(pthread_attr_t* pAttributes) override;
    TSQEventCode_T SendAckToErrorHandler(const char*) override { return c_Success; }
    std::uint32_t GetFileSize(const char* file) override;

private:
    std::string m_TaskName = "NoName";
    IDatabaseErrorStatusMessage* m_pErrorStatusSink = nullptr; // not owned
};
