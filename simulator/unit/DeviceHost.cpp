#include "simulator/unit/DeviceHost.h"

#include "simulator/unit/DeviceNode.h"

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
    // To look next to the library's other part takes less time than to load this one.
    Dl_info other{};
    if (::dladdr(reinterpret_cast<void*>(&umockdev_testbed_new), &other) != 0 &&
        fs::exists(fs::path(other.dli_fname).replace_filename(c_PreloadLibrary))) {
        return;
    }
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

/// Makes the library put its directory into this one. GLib looks once where temporary files go; the program
/// keeps the user's own place for them.
void ChooseDirectory(const fs::path& directory)
{
    const char* const pValue = std::getenv("TMPDIR");
    const std::string before = pValue != nullptr ? pValue : "";
    ::setenv("TMPDIR", directory.c_str(), 1);
    g_get_tmp_dir();
    if (pValue != nullptr) {
        ::setenv("TMPDIR", before.c_str(), 1);
    } else {
        ::unsetenv("TMPDIR");
    }
}

/// The library's thread already works when the library sets UMOCKDEV_DIR, and a thread that reads the
/// environment while another changes it can crash. It would read at the first signal connection of the
/// process, when GLib looks for a variable that turns warnings on. It would also read for a translation, but
/// the simulator keeps the locale C, in which nothing is translated.
void KeepThreadsFromEnvironment()
{
    const Object_T<UMockdevIoctlBase> pObject(umockdev_ioctl_base_new());
    g_signal_connect(pObject.get(), "notify", G_CALLBACK(+[] {}), nullptr);
}
} // namespace

CDeviceHost::CDeviceHost(const fs::path& directory, Observer_T observer)
    : m_pImplementation(std::make_unique<Implementation>(std::move(observer)))
{
    CheckLibrary();
    CheckDirectory(directory);
    ChooseDirectory(directory);
    KeepThreadsFromEnvironment();
    m_pImplementation->pTestbed.reset(umockdev_testbed_new());
    gchar* const pRoot = umockdev_testbed_get_root_dir(m_pImplementation->pTestbed.get());
    m_pImplementation->root = pRoot;
    g_free(pRoot);
}

CDeviceHost::~CDeviceHost()
{
    const std::scoped_lock guard(m_pImplementation->lock);
    m_pImplementation->isFinished = true;
    // Kept until the process ends: the library's thread cannot be ended before, and may still have a request
    // of a killed program. Releasing the library's object would also change the environment again.
    [[maybe_unused]] static const Implementation* s_pKept = nullptr;
    s_pKept = m_pImplementation.release();
}

fs::path CDeviceHost::Root() const { return m_pImplementation->root; }

void CDeviceHost::AddDevice(const std::string& name, IDeviceModel& model)
{
    m_pImplementation->nodes.push_back(std::make_unique<CDeviceNode>(*m_pImplementation, name, model));
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
        if (node->IsTooLarge()) { // its writer may never end
            throw std::runtime_error("the device refused: " + node->TooLarge());
        }
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
