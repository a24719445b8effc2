#include "fuzz/FuzzWorld.h"

#include "Utilities/ProcessLifetime.h"
#include "framework/UnitPaths.h"
#include "fuzz/AllowedAssertions.h"

#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

/// The main() of app/main.cpp, which is compiled under this name for the fuzz targets.
int SonarbenchMain(int argc, char* argv[]);

namespace
{
CFuzzWorld* g_pCurrent = nullptr;

/// Device type of the nodes, for the calls that the world leaves to the system.
const int g_DeviceNode = open("/dev/null", O_RDWR | O_CLOEXEC);

int FirstFreeDescriptor()
{
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    return descriptor;
}

std::map<std::string, std::string, std::less<>> FilesOf(const Product_T& product)
{
    using namespace UnitPaths;
    std::map<std::string, std::string, std::less<>> files = {
        {c_VarrowSonarPower, "0\n"},      {c_PelionSonarPower, "0\n"},
        {c_BatteryVoltage, "2000\n"},     {c_SensePin, "7\n"},
        {c_ApplicationVersion, "1.2\n"},  {c_PlatformVersion, "3.4\n"},
        {c_SerialNumber, "0123456789\n"}, {c_StopSonarMarker, ""},
    };
    files[c_SonarBoardId] = std::to_string((product.board.low + product.board.high) / 2) + "\n";
    if (product.identityFile != IdentityFile::None) {
        const bool isVarrow = product.identityFile == IdentityFile::Varrow;
        files[isVarrow ? c_VarrowProductId : c_PelionProductId] = product.identities.front();
    }
    return files;
}
} // namespace

CFuzzWorld::CFuzzWorld(const Product_T& product, CFuzzInput& input, Answer_T unchosen)
    : files(FilesOf(product)), directories{UnitPaths::c_ModuleFirmware, UnitPaths::c_DisplayFirmware},
      m_Link(product.link), m_FirstFreeDescriptor(FirstFreeDescriptor())
{
    m_Device.Use(&input, unchosen);
    g_pCurrent = this;
}

CFuzzWorld::~CFuzzWorld()
{
    ReleaseKeptByRun();
    g_pCurrent = nullptr;
    Require(FirstFreeDescriptor() == m_FirstFreeDescriptor, "the program leaves no descriptor open");
}

CFuzzWorld* CFuzzWorld::Current() { return g_pCurrent; }

void CFuzzWorld::Run(std::vector<std::string> arguments)
{
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    try {
        const int status = SonarbenchMain(static_cast<int>(arguments.size()), argv.data());
        Require(status == 0, "the exit status is always 0");
    } catch (const AllowedAssertion_T& broken) {
        Require(broken.by != BrokenBy_T::SurplusReply || m_Link == Link::Uart,
                "only a serial line sends too much");
    }
}

int CFuzzWorld::Open(const char* path)
{
    const std::string_view name(path);
    int descriptor = -1;
    if (const auto file = files.find(name); file != files.end()) {
        descriptor = memfd_create("fuzz", MFD_CLOEXEC);
        const ssize_t written = pwrite(descriptor, file->second.data(), file->second.size(), 0);
        Require(written == static_cast<ssize_t>(file->second.size()), "a file of the unit holds its text");
        m_DeviceDescriptors.erase(descriptor);
    } else if (hasDevices && name.starts_with("/dev/")) {
        descriptor = dup(g_DeviceNode);
        m_DeviceDescriptors.insert(descriptor);
    } else {
        errno = ENOENT;
    }
    return descriptor;
}

bool CFuzzWorld::Exists(const char* path) const { return files.contains(path) || directories.contains(path); }

bool CFuzzWorld::WaitEndsInStop() { return seconds == 0 || --seconds == 0; }

const char* CFuzzWorld::Variable(const char* name) const
{
    const auto variable = m_Variables.find(name);
    return variable == m_Variables.end() ? nullptr : std::strchr(variable->second, '=') + 1;
}

void CFuzzWorld::PutVariable(const char* text) { m_Variables[{text, std::strchr(text, '=')}] = text; }
