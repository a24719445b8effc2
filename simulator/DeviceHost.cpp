#include "simulator/DeviceHost.h"

#include "simulator/DeviceNode.h"

#include <cstdlib>
#include <dlfcn.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <utility>

namespace
{
namespace fs = std::filesystem;

/// Program-side part of the mock device library, found by the dynamic loader.
constexpr char c_PreloadLibrary[] = "libumockdev-preload.so.0";

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
} // namespace

struct CDeviceHost::Implementation {
    explicit Implementation(Observer_T operationObserver) : observer(std::move(operationObserver)) {}

    const Observer_T observer;
    std::mutex lock;
    bool isFinished = false;
    Object_T<UMockdevTestbed> pTestbed;
    fs::path root;
    std::vector<std::unique_ptr<CDeviceNode>> nodes; // last, so that the nodes go before what they use
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
    const NodeContext_T context{implementation.pTestbed.get(), implementation.root,     implementation.lock,
                                implementation.isFinished,     implementation.observer, implementation.nodes};
    implementation.nodes.push_back(std::make_unique<CDeviceNode>(context, name, model));
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
    m_pImplementation->isFinished = true;
}

std::vector<std::pair<std::string, std::string>>
CDeviceHost::Environment(const fs::path& insideDirectory) const
{
    return {{"LD_PRELOAD", c_PreloadLibrary}, {"UMOCKDEV_DIR", insideDirectory / Root().filename()}};
}
