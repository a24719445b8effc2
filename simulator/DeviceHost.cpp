#include "simulator/DeviceHost.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <mutex>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <umockdev.h>
#include <unistd.h>
#include <utility>

namespace
{
namespace fs = std::filesystem;

/// Program-side part of the mock device library, found by the dynamic loader.
constexpr char c_PreloadLibrary[] = "libumockdev-preload.so.0";

/// Bytes that one read() of a terminal can give; a longer reply would come in pieces.
constexpr std::size_t c_TerminalBuffer = 4095;

/// Longest path that the library adds to its directory for a socket.
constexpr std::string_view c_SocketPath = "/umockdev.XXXXXX/ioctl/dev/LSfpga0";

/// Without the program's part, the program would run on this machine's own devices.
void CheckLibrary()
{
    void* const pLibrary = ::dlopen(c_PreloadLibrary, RTLD_LAZY | RTLD_LOCAL);
    if (pLibrary == nullptr) {
        throw std::runtime_error(std::string("the package umockdev is missing: ") + ::dlerror());
    }
    ::dlclose(pLibrary);
}

void CheckDirectory(const fs::path& directory)
{
    if (directory.string().size() + c_SocketPath.size() >= sizeof(sockaddr_un::sun_path)) {
        throw std::runtime_error("the path of the unit's directory, " + directory.string() +
                                 ", is too long for a socket; set TMPDIR to a shorter one");
    }
}

struct ObjectRelease {
    void operator()(void* pObject) const { g_object_unref(pObject); }
};
template <class T>
using Object_T = std::unique_ptr<T, ObjectRelease>;

[[noreturn]] void ThrowMessage(const std::string& what, GError* pError)
{
    const std::string message = what + ": " + (pError != nullptr ? pError->message : "unknown failure");
    g_clear_error(&pError);
    throw std::runtime_error(message);
}

[[noreturn]] void ThrowErrno(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

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

/// One node. The handlers run in the library's own thread, the draining in the caller's: the lock that all
/// nodes of a unit share makes operations happen one at a time.
class CNode
{
public:
    CNode(UMockdevTestbed* pTestbed, const fs::path& root, std::string name, IDeviceModel& model,
          std::mutex& lock, const CDeviceHost::Observer_T& observer)
        : m_Name(std::move(name)), m_Node("/dev/" + m_Name), m_Model(model), m_Lock(lock),
          m_Observer(observer), m_pTestbed(pTestbed), m_Master(MakeTerminal()), m_Slave(OpenSlave(root)),
          m_pHandler(umockdev_ioctl_base_new())
    {
        g_signal_connect(m_pHandler.get(), "handle-ioctl", G_CALLBACK(&CNode::OnIoctl), this);
        g_signal_connect(m_pHandler.get(), "handle-write", G_CALLBACK(&CNode::OnWrite), this);
        GError* pError = nullptr;
        if (!umockdev_testbed_attach_ioctl(m_pTestbed, m_Node.c_str(), m_pHandler.get(), &pError)) {
            ThrowMessage("cannot serve " + m_Node, pError);
        }
    }
    CNode(const CNode&) = delete;
    CNode& operator=(const CNode&) = delete;
    ~CNode() { umockdev_testbed_detach_ioctl(m_pTestbed, m_Node.c_str(), nullptr); }

    int Master() const { return m_Master; }

    /// Takes what child processes wrote; the lock must be held.
    void Drain()
    {
        std::array<std::uint8_t, 4096> chunk{};
        for (;;) {
            const ssize_t count = ::read(m_Master, chunk.data(), chunk.size());
            if (count <= 0) {
                return;
            }
            m_Image.insert(m_Image.end(), chunk.begin(), chunk.begin() + count);
        }
    }

    /// Drains and hands the model a complete image; the lock must be held.
    void TakeImage()
    {
        Drain();
        if (m_Image.empty()) {
            return;
        }
        const Bytes_T image = std::exchange(m_Image, {});
        Finish(DeviceOperation_T::Kind::Image, 0, image, m_Model.TakeImage(image));
    }

private:
    /// The library makes a raw pseudo-terminal of a node with a terminal's major number and no contents.
    int MakeTerminal()
    {
        const std::string description = "P: /devices/platform/" + m_Name + "\nN: " + m_Name +
                                        "\nE: SUBSYSTEM=tty\nE: MAJOR=4\nE: MINOR=64\nE: DEVNAME=" + m_Node +
                                        "\n";
        GError* pError = nullptr;
        if (!umockdev_testbed_add_from_string(m_pTestbed, description.c_str(), &pError)) {
            ThrowMessage("cannot make " + m_Node, pError);
        }
        const int master = umockdev_testbed_get_dev_fd(m_pTestbed, m_Node.c_str());
        if (::fcntl(master, F_SETFL, O_NONBLOCK) != 0 || ::fcntl(master, F_SETFD, FD_CLOEXEC) != 0) {
            ThrowErrno("cannot set up " + m_Node);
        }
        return master;
    }

    /// Kept open, because a terminal whose last user closes it hangs up.
    int OpenSlave(const fs::path& root) const
    {
        const int slave = ::open((root / m_Node.substr(1)).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (slave < 0) {
            ThrowErrno("cannot open " + m_Node);
        }
        return slave;
    }

    /// Reports the operation and lets its reply become readable.
    void Finish(DeviceOperation_T::Kind kind, unsigned long request, ByteView_T bytes,
                DeviceOutcome_T outcome)
    {
        const Bytes_T& reply = outcome.reply;
        if (reply.size() > c_TerminalBuffer ||
            (!reply.empty() && ::write(m_Master, reply.data(), reply.size()) != std::ssize(reply))) {
            outcome.refusals.push_back("the reply of " + std::to_string(reply.size()) +
                                       " bytes does not fit into the node's buffer");
        }
        m_Observer({m_Name, kind, request, bytes, outcome});
    }

    static void Complete(UMockdevIoctlClient* pClient, int error, glong result)
    {
        umockdev_ioctl_client_complete(pClient, error != 0 ? -1 : result, error);
    }

    static gboolean OnIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* pClient, gpointer pNode)
    {
        auto& node = *static_cast<CNode*>(pNode);
        const std::scoped_lock guard(node.m_Lock);
        node.TakeImage();
        const unsigned long request = umockdev_ioctl_client_get_request(pClient);
        Bytes_T argument;
        if (const std::size_t size = node.m_Model.IoctlArgumentSize(request); size > 0) {
            // Null when the program passed a null pointer.
            UMockdevIoctlData* const pPointer = umockdev_ioctl_client_get_arg(pClient);
            const Object_T<UMockdevIoctlData> data(umockdev_ioctl_data_resolve(pPointer, 0, size, nullptr));
            if (data) {
                argument.assign(data->data, data->data + size);
            }
        }
        DeviceOutcome_T outcome = node.m_Model.Ioctl(request, argument);
        const int error = outcome.error;
        node.Finish(DeviceOperation_T::Kind::Ioctl, request, argument, std::move(outcome));
        Complete(pClient, error, 0);
        return TRUE;
    }

    static gboolean OnWrite(UMockdevIoctlBase*, UMockdevIoctlClient* pClient, gpointer pNode)
    {
        auto& node = *static_cast<CNode*>(pNode);
        const std::scoped_lock guard(node.m_Lock);
        node.TakeImage();
        UMockdevIoctlData* const pData = umockdev_ioctl_client_get_arg(pClient);
        const Bytes_T bytes(pData->data, pData->data + pData->data_len);
        DeviceOutcome_T outcome = node.m_Model.Write(bytes);
        if (!outcome.fill.empty()) {
            umockdev_ioctl_data_update(pData, 0, outcome.fill.data(), static_cast<gint>(outcome.fill.size()));
        }
        const int error = outcome.error;
        node.Finish(DeviceOperation_T::Kind::Write, 0, bytes, std::move(outcome));
        Complete(pClient, error, static_cast<glong>(bytes.size()));
        return TRUE;
    }

    const std::string m_Name;
    const std::string m_Node;
    IDeviceModel& m_Model;
    std::mutex& m_Lock;
    const CDeviceHost::Observer_T& m_Observer;
    UMockdevTestbed* const m_pTestbed;
    const int m_Master; ///< owned by the testbed
    const CDescriptor m_Slave;
    const Object_T<UMockdevIoctlBase> m_pHandler;
    Bytes_T m_Image;
};
} // namespace

struct CDeviceHost::Implementation {
    explicit Implementation(Observer_T operationObserver) : observer(std::move(operationObserver)) {}

    const Observer_T observer;
    std::mutex lock;
    Object_T<UMockdevTestbed> pTestbed;
    fs::path root;
    std::vector<std::unique_ptr<CNode>> nodes; // last, so that the nodes go before what they use
};

CDeviceHost::CDeviceHost(const fs::path& directory, Observer_T observer)
    : m_pImplementation(std::make_unique<Implementation>(std::move(observer)))
{
    CheckLibrary();
    CheckDirectory(directory);
    // The library makes its directory where temporary files go; the program keeps its own place for them.
    const char* const pValue = std::getenv("TMPDIR");
    const std::string before = pValue != nullptr ? pValue : "";
    ::setenv("TMPDIR", directory.c_str(), 1);
    m_pImplementation->pTestbed.reset(umockdev_testbed_new());
    if (pValue != nullptr) {
        ::setenv("TMPDIR", before.c_str(), 1);
    } else {
        ::unsetenv("TMPDIR");
    }
    gchar* const pRoot = umockdev_testbed_get_root_dir(m_pImplementation->pTestbed.get());
    m_pImplementation->root = pRoot;
    g_free(pRoot);
}

CDeviceHost::~CDeviceHost() = default;

fs::path CDeviceHost::Root() const { return m_pImplementation->root; }

void CDeviceHost::AddDevice(const std::string& name, IDeviceModel& model)
{
    Implementation& implementation = *m_pImplementation;
    implementation.nodes.push_back(std::make_unique<CNode>(implementation.pTestbed.get(), implementation.root,
                                                           name, model, implementation.lock,
                                                           implementation.observer));
}

std::vector<int> CDeviceHost::Descriptors() const
{
    std::vector<int> descriptors;
    for (const auto& node : m_pImplementation->nodes) {
        descriptors.push_back(node->Master());
    }
    return descriptors;
}

void CDeviceHost::Drain()
{
    const std::scoped_lock guard(m_pImplementation->lock);
    for (const auto& node : m_pImplementation->nodes) {
        node->Drain();
    }
}

void CDeviceHost::Finish()
{
    const std::scoped_lock guard(m_pImplementation->lock);
    for (const auto& node : m_pImplementation->nodes) {
        node->TakeImage();
    }
}

std::vector<std::pair<std::string, std::string>>
CDeviceHost::Environment(const fs::path& insideDirectory) const
{
    return {{"LD_PRELOAD", c_PreloadLibrary}, {"UMOCKDEV_DIR", insideDirectory / Root().filename()}};
}
