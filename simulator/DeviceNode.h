#pragma once

#include "simulator/DeviceHost.h"
#include "simulator/ReplySender.h"

#include <memory>
#include <mutex>
#include <umockdev.h>
#include <unistd.h>

struct ObjectRelease {
    void operator()(void* pObject) const { g_object_unref(pObject); }
};
/// A reference to one of the library's objects.
template <class T>
using Object_T = std::unique_ptr<T, ObjectRelease>;

class CDescriptor
{
public:
    explicit CDescriptor(int descriptor) : m_Descriptor(descriptor) {}
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    ~CDescriptor() { ::close(m_Descriptor); }
    int Get() const { return m_Descriptor; }

private:
    int m_Descriptor;
};

class CDeviceNode;
/// What the nodes of a unit share.
struct NodeContext_T {
    UMockdevTestbed* pTestbed;
    const std::filesystem::path& root;
    std::mutex& lock;       ///< makes operations happen one at a time
    const bool& isFinished; ///< no more of them happen; the lock must be held
    const CDeviceHost::Observer_T& observer;
    const std::vector<std::unique_ptr<CDeviceNode>>& nodes; ///< all of them
};

/// One node of a CDeviceHost. The handlers run in the library's own thread, the draining in the caller's.
class CDeviceNode
{
public:
    CDeviceNode(const NodeContext_T& context, std::string name, IDeviceModel& model);
    CDeviceNode(const CDeviceNode&) = delete;
    CDeviceNode& operator=(const CDeviceNode&) = delete;
    ~CDeviceNode();

    int Master() const { return m_Master; }
    /// Takes what child processes wrote; the lock must be held.
    void Drain();
    /// Drains and hands the model a complete image; the lock must be held.
    void TakeImage();

private:
    int MakeTerminal() const;
    int OpenSlave() const;
    void MakeSerialLine() const;
    void TellLine();
    void PassOnUnasked();
    void Finish(DeviceOperation_T::Kind kind, unsigned long request, ByteView_T bytes,
                DeviceOutcome_T outcome);

    /// One operation of the program, with everything before and behind it.
    void Operate(UMockdevIoctlClient* pClient, bool isWrite);
    static gboolean OnIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* pClient, gpointer pNode);
    static gboolean OnWrite(UMockdevIoctlBase*, UMockdevIoctlClient* pClient, gpointer pNode);

    const NodeContext_T m_Context;
    const std::string m_Name;
    const std::string m_Node;
    IDeviceModel& m_Model;
    const int m_Master; ///< owned by the testbed
    const CDescriptor m_Slave;
    CReplySender m_Sender;
    const Object_T<UMockdevIoctlBase> m_pHandler;
    Bytes_T m_Image;
};
