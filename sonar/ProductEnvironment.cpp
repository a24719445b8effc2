#include "framework/UnitPaths.h"
#include "sonar/SonarTestController.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <unistd.h>

namespace
{
constexpr char c_FirstChannelDevice[] = "FPGA_CHANNEL_0_COMMS=/dev/LSfpga0";
constexpr char c_SecondChannelDevice[] = "FPGA_CHANNEL_1_COMMS=/dev/LSfpga1";

constexpr char c_UnknownProduct[] = "ERROR: Unknown Product type.\n";
constexpr unsigned int c_NoTimeLimit = 0;

struct PowerSwitch_T {
    SonarPower power;
    const char* path;
};

constexpr PowerSwitch_T c_PowerSwitches[] = {{SonarPower::Varrow, UnitPaths::c_VarrowSonarPower},
                                             {SonarPower::Pelion, UnitPaths::c_PelionSonarPower}};

/// Puts NAME=value into the environment, which keeps the text itself. Null: nothing.
void Put(const char* variable)
{
    if (variable != nullptr) {
        putenv(const_cast<char*>(variable)); // nobody writes to it
    }
}

/// Leaves an empty file at the path, in a directory in which everybody may write. A link or a pipe that is
/// already there is replaced: a link is not followed, and nobody waits for a pipe's reader. A failure is
/// ignored.
void MakeMarker(const char* path)
{
    constexpr mode_t mode = 0666;
    ::unlink(path);
    const int descriptor = ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (descriptor != -1) {
        ::close(descriptor);
    }
}
} // namespace

void CSonarTestController::SetProductEnvironment()
{
    const Product_T& identity = GetProduct();
    for (const char* variable : ModelVariables()) {
        Put(variable);
    }
    Put("SOUNDER_ROOT_DIR=/corvane/Application");
    Put("KILL_MON_QLSOUNDER=0");

    const Product_T& product = GetProduct();
    switch (product.setup) {
    case Setup::Refused:
        Message(std::string(c_UnknownProduct), nullptr, true, false);
        break;
    case Setup::Display:
        Put(c_FirstChannelDevice);
        Put(product.productId);
        break;
    case Setup::Full:
        Put("PLATFORM_TYPE=1");
        if (product.link == Link::Uart) {
            // Empty: the UART transport has device names of its own.
            Put("FPGA_CHANNEL_0_COMMS=");
            Put("FPGA_CHANNEL_1_COMMS=");
        } else {
            Put(c_FirstChannelDevice);
        }
        SetProductIdentity(identity);
    }
}

void CSonarTestController::SetProductIdentity(const Product_T& identity)
{
    if (identity.link == Link::None) {
        Message(std::string(c_UnknownProduct), nullptr, true, false);
        return;
    }
    Put(identity.productId);
    Put(identity.sonarBoard);
    Put(identity.fpgaSize);
    if (identity.twoFpgas) {
        Put(c_FirstChannelDevice);
        Put(c_SecondChannelDevice);
    }
    if (identity.stopsSounder) {
        StopSounder();
    }
}

void CSonarTestController::StopSounder()
{
    MakeMarker(UnitPaths::c_StopSonarMarker);
    for (const char* script : {UnitPaths::c_SounderKillScript, UnitPaths::c_ModuleSounderKillScript}) {
        const QString path = QString::fromLatin1(script);
        if (FileExists(path)) {
            RunProcess(path, nullptr, c_NoTimeLimit, nullptr, false, 0);
            return;
        }
    }
    Message(std::string("Failed to kill Quenlor Sonar.\n"), nullptr, true, false);
}

int CSonarTestController::EnableSonar(std::string* output)
{
    const SonarPower power = GetProduct().power;
    if (power == SonarPower::NotNeeded) {
        return OPERATION_PERFORMED;
    }
    const auto* const powerSwitch = std::ranges::find(c_PowerSwitches, power, &PowerSwitch_T::power);
    if (powerSwitch == std::end(c_PowerSwitches)) {
        Message(std::string("Non-Varrow platform. Sonar may not be enabled.\n"), output, false, true);
        return OPERATION_PERFORMED;
    }
    const QString path = QString::fromLatin1(powerSwitch->path);
    if (!FileExists(path)) {
        Message(std::string("ERROR: Path does not exist: ") + powerSwitch->path + "\n", nullptr, true, false);
        return TEST_FAILED;
    }
    return WriteToFile(path, QByteArrayLiteral("1"), output) ? OPERATION_PERFORMED : TEST_FAILED;
}
