#pragma once

#include "simulator/unit/DeviceHost.h"
#include "tools/BoundedFile.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <umockdev.h>

struct ObjectRelease {
    void operator()(void* pObject) const { g_object_unref(pObject); }
};
/// A reference to one of the library's objects.
template <class T>
using Object_T = std::unique_ptr<T, ObjectRelease>;

/// Puts replies into a node's terminal in their order: at once, or later, byte by byte or slowly if a fault
/// asks for that, or piece by piece as they were recorded.
class CReplySender
{
public:
    /// @param master  descriptor of the terminal's device side
    /// @param slave   descriptor of the program's side, where unread bytes are counted
    CReplySender(int master, int slave) : m_Master(master), m_Slave(slave) {}

    /// Sends the reply of an outcome; false when it does not fit into the terminal's buffer.
    bool Send(const DeviceOutcome_T& outcome);

private:
    struct Reply_T {
        Bytes_T bytes;
        std::chrono::steady_clock::time_point due;
        Pace pace;
        std::vector<ReplyPiece_T> morePieces;
    };

    bool Put(ByteView_T bytes) const;
    /// Whether the program has left bytes unread.
    bool IsUnread() const;
    void Run(const std::stop_token& stop);
    /// Waits until the program has read everything.
    void AwaitRead(const std::stop_token& stop) const;
    void PutPieces(const std::stop_token& stop, const Reply_T& reply);
    void PutBytewise(const std::stop_token& stop, const Bytes_T& bytes) const;
    void PutSlowly(const std::stop_token& stop, const Bytes_T& bytes);

    const int m_Master;
    const int m_Slave;
    std::mutex m_Lock;
    std::condition_variable_any m_Wake;
    std::deque<Reply_T> m_Waiting; ///< the first stays until it is sent
    std::optional<std::jthread>
        m_Thread; ///< last, so that it ends before what it uses; from the first delay on
};

/// One node of a CDeviceHost, which keeps it until the process ends. The handlers run in the library's own
/// thread, the draining in the caller's.
class CDeviceNode
{
public:
    CDeviceNode(CDeviceHost::Implementation& host, std::string name, IDeviceModel& model);
    CDeviceNode(const CDeviceNode&) = delete;
    CDeviceNode& operator=(const CDeviceNode&) = delete;

    int Master() const { return m_Master; }
    /// Takes what child processes wrote; the lock must be held. Of an image that is too large, the rest is
    /// dropped.
    void Drain();
    bool IsTooLarge() const { return m_IsTooLarge; }
    /// What the message about such an image says.
    std::string TooLarge() const;
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

    /// Carries out one operation of the program, after pending images and before unasked replies.
    void Operate(UMockdevIoctlClient* pClient, bool isWrite);
    static gboolean OnIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* pClient, gpointer pNode);
    static gboolean OnWrite(UMockdevIoctlBase*, UMockdevIoctlClient* pClient, gpointer pNode);

    CDeviceHost::Implementation& m_Host;
    const std::string m_Name;
    const std::string m_Node;
    const bool m_IsEmulated; ///< looked up by the first thread
    IDeviceModel& m_Model;
    const int m_Master; ///< owned by the testbed
    const CDescriptor m_Slave;
    CReplySender m_Sender;
    const Object_T<UMockdevIoctlBase> m_pHandler;
    Bytes_T m_Image;
    bool m_IsTooLarge = false;
};

struct CDeviceHost::Implementation {
    explicit Implementation(Observer_T operationObserver) : observer(std::move(operationObserver)) {}

    const Observer_T observer;
    std::mutex lock;         ///< makes operations happen one at a time
    bool isFinished = false; ///< no more operations happen
    Object_T<UMockdevTestbed> pTestbed;
    std::filesystem::path root;
    std::vector<std::unique_ptr<CDeviceNode>> nodes;
};
