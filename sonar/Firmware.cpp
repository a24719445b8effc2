#include "Utilities/FPGAIF.h"
#include "Utilities/OSSLinuxFactory.h"
#include "framework/UnitPaths.h"
#include "sonar/SonarTestController.h"

#include <cstdio>
#include <cstdlib>

namespace
{
// The FPGA answers with one of these while it holds no firmware.
constexpr std::uint8_t c_NoFirmwareLow = 0;
constexpr std::uint8_t c_NoFirmwareHigh = 255;

int RunInShell(const std::string& command)
{
    std::fflush(stdout); // what the shell prints comes after what was printed here
    // The commands are texts of the product table, and their patterns are the shell's.
    // NOLINTNEXTLINE(cert-env33-c)
    return std::system(command.c_str());
}
} // namespace

int CSonarTestController::Fail(const std::string& reason, std::string* out)
{
    Message(reason, out, false, true);
    return TEST_FAILED;
}

XdcrElementIndex_T CSonarTestController::ElementOf(const Product_T& product, unsigned char channel)
{
    return product.twoFpgas ? channel : XdcrElementIndex_T{0};
}

int CSonarTestController::ReadSonarVersionEnsureValid(std::string& out, CFPGAIF* facade,
                                                      unsigned char channel)
{
    if (facade == nullptr) {
        Message(m_InterfaceNotice, &out, false, true);
        COSSLinuxFactory factory;
        CFPGAIF own(&factory, ElementOf(GetProduct(), channel));
        return ReadSonarVersionEnsureValid(out, &own, channel);
    }

    SWVersion_T version{c_NoFirmwareHigh, c_NoFirmwareHigh};
    if (facade->GetVersion(&version) != c_Success) {
        return Fail("ERROR: Failed to get version.\n", &out);
    }
    Message("Firmware Version: " + std::to_string(version.major) + "." + std::to_string(version.minor) + "\n",
            &out, false, true);
    if (version.major == c_NoFirmwareLow || version.major == c_NoFirmwareHigh) {
        return Fail("ERROR: FW major version is suspicious. Ensure firmware has loaded.\n", &out);
    }
    return TEST_PASSED;
}

int CSonarTestController::LoadFPGABinary(std::string& out, bool checkVersion)
{
    const FirmwareImage_T& image = GetProduct().firmware;
    const std::string device = UnitPaths::c_FirstLowscanFpga;
    const std::string directory = image.directory;
    std::string command = "cat " + directory + "/" + image.pattern;
    if (*image.pattern == '\0') {
        // The procedure carries on: the shell's complaint about the directory shows in the station's log.
        Fail("ERROR: Product not supported.\n", &out);
    }
    if (image.resetsFirst) {
        RunInShell("echo 1 > " + device);
    }

    if (!FileExists(QString::fromLatin1(image.directory))) {
        return Fail("ERROR: Required path does not exist: " + directory + "\n", &out);
    }
    command += " > " + device;
    Message(command + "\n", nullptr, true, false);
    Message(std::string("Loading FPGA...\n"), &out, false, true);
    // Only a shell that does not start counts; whether the image arrived shows in the version.
    if (RunInShell(command) == -1) {
        return Fail("ERROR: Failed to load FPGA with: " + command + "\n", &out);
    }

    if (checkVersion && ReadSonarVersionEnsureValid(out, nullptr, 0) != TEST_PASSED) {
        return Fail("ERROR: Failed to get version. FW upgrade failed.\n", &out);
    }
    return TEST_PASSED;
}
