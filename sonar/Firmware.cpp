#include "Utilities/FPGAIF.h"
#include "Utilities/OSSLinuxFactory.h"
#include "framework/UnitPaths.h"
#include "sonar/SonarTestController.h"

#include <cstdio>
#include <cstdlib>

namespace
{
// Major versions that mean no firmware.
constexpr std::uint8_t c_NoFirmwareLow = 0;
constexpr std::uint8_t c_NoFirmwareHigh = 255;

int RunInShell(const std::string& command)
{
    std::fflush(stdout); // the shell's output follows on the same stream
    // The commands come from the product table; the shell expands their patterns.
    // NOLINTNEXTLINE(cert-env33-c)
    return std::system(command.c_str());
}
} // namespace

int CSonarTestController::ReadSonarVersionEnsureValid(std::string* out, CFPGAIF* facade,
                                                      unsigned char channel)
{
    if (facade == nullptr) {
        Message(m_InterfaceNotice, out, false, true);
        COSSLinuxFactory factory;
        CFPGAIF own(&factory, ElementOf(GetProduct(), channel));
        return ReadSonarVersionEnsureValid(out, &own, channel);
    }

    SWVersion_T version{c_NoFirmwareHigh, c_NoFirmwareHigh};
    if (facade->GetVersion(&version) != c_Success) {
        return Fail("ERROR: Failed to get version.\n", out);
    }
    Message("Firmware Version: " + std::to_string(version.major) + "." + std::to_string(version.minor) + "\n",
            out, false, true);
    if (version.major == c_NoFirmwareLow || version.major == c_NoFirmwareHigh) {
        return Fail("ERROR: FW major version is suspicious. Ensure firmware has loaded.\n", out);
    }
    return TEST_PASSED;
}

int CSonarTestController::LoadFPGABinary(std::string* out, bool checkVersion)
{
    const FirmwareImage_T& image = GetProduct().firmware;
    const std::string device = UnitPaths::c_FirstLowscanFpga;
    const std::string directory = image.directory;
    const std::string command = "cat " + directory + "/" + image.pattern + " > " + device;
    if (*image.pattern == '\0') {
        // The command below still runs, on purpose.
        Message(std::string("ERROR: Product not supported.\n"), out, false, true);
    }
    if (image.resetsFirst) {
        RunInShell("echo 1 > " + device);
    }

    if (!FileExists(QString::fromLatin1(image.directory))) {
        return Fail("ERROR: Required path does not exist: " + directory + "\n", out);
    }
    Message(command + "\n", nullptr, true, false);
    Message(std::string("Loading FPGA...\n"), out, false, true);
    // The command's own result is ignored; whether the image arrived shows in the version.
    if (RunInShell(command) == -1) {
        return Fail("ERROR: Failed to load FPGA with: " + command + "\n", out);
    }

    if (checkVersion && ReadSonarVersionEnsureValid(out, nullptr, 0) != TEST_PASSED) {
        return Fail("ERROR: Failed to get version. FW upgrade failed.\n", out);
    }
    return TEST_PASSED;
}
