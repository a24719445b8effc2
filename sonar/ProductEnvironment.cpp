#include "framework/ConstantText.h"
#include "framework/UnitPaths.h"
#include "sonar/SonarTestController.h"
#include "sonar/TableFile.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <unistd.h>

namespace
{

// Variables of the environment.
constexpr const char* c_FirstChannel =
    c_Joined<"FPGA_CHANNEL_0_COMMS=", UnitPaths::c_FirstLowscanFpga>.data();
constexpr const char* c_SecondChannel =
    c_Joined<"FPGA_CHANNEL_1_COMMS=", UnitPaths::c_SecondLowscanFpga>.data();
constexpr const char* c_SounderRoot = c_Joined<"SOUNDER_ROOT_DIR=", UnitPaths::c_SounderRoot>.data();
// Empty: the UART transport falls back to device names of its own.
constexpr const char* c_FirstUart = "FPGA_CHANNEL_0_COMMS=";
constexpr const char* c_SecondUart = "FPGA_CHANNEL_1_COMMS=";

constexpr char c_UnknownProduct[] = "ERROR: Unknown Product type.\n";
constexpr unsigned int c_NoTimeLimit = 0;

struct PowerSwitch_T {
    SonarPower power;
    const char* path;
};

constexpr PowerSwitch_T c_PowerSwitches[] = {{SonarPower::Varrow, UnitPaths::c_VarrowSonarPower},
                                             {SonarPower::Pelion, UnitPaths::c_PelionSonarPower}};

/// Puts NAME=value, a constant or null for nothing, into the environment, which keeps the text itself.
void Put(const char* variable)
{
    if (variable != nullptr) {
        putenv(const_cast<char*>(variable)); // nobody writes to it
    }
}

/// Leaves an empty file at the path, in a directory in which everybody may write: a link or a pipe that
/// somebody put there is replaced and neither followed nor waited for. The sounder's monitor looks for the
/// marker; one that cannot be made is no reason to stop.
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

CSonarTestController::CSonarTestController()
    : m_InterfaceNotice(QStringLiteral(
          "If unit segfaults below (CFPGAIF constructor), check CSonarTestController constructor defines all "
          "the product ids (eg: PRODUCT_ID_Varrow) required by QLSounderType_T SounderInfo::GetSounderType "
          "GetSounderType()\n"))
{
    const Product_T& identity = GetProduct();
    for (const ModelPartNumber_T& model : ModelPartNumbers()) {
        Put(model.variable);
    }
    Put(c_SounderRoot);
    Put("KILL_MON_QLSOUNDER=0");
    SetProductEnvironment(identity);
    if (std::getenv("PRODUCT_ID") == nullptr) {
        Message(std::string("ERROR: PRODUCT_ID environment variable not set. Ping will segfault.\n"), nullptr,
                true, false);
    }
}

CSonarTestController::~CSonarTestController() = default;

void CSonarTestController::SetProductEnvironment(const Product_T& identity)
{
    const Product_T& product = GetProduct();
    if (product.setup == Setup::Refused) {
        Message(std::string(c_UnknownProduct), nullptr, true, false);
        return;
    }
    if (product.setup == Setup::Full) {
        Put("PLATFORM_TYPE=1");
    }
    if (product.link == Link::Uart) {
        Put(c_FirstUart);
        Put(c_SecondUart);
    } else {
        Put(c_FirstChannel);
    }
    // On the modules that was read first counts, even where the unit answers otherwise by now.
    const Product_T& named = product.setup == Setup::Full ? identity : product;
    if (named.model == nullptr) {
        Message(std::string(c_UnknownProduct), nullptr, true, false);
        return;
    }
    Put(named.model->identity);
    Put(named.sonarBoard);
    Put(named.fpgaSize);
    if (named.twoFpgas) {
        Put(c_SecondChannel);
    }
    if (named.stopsSounder) {
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

char* CSonarTestController::StringFromQString(const QString& text)
{
    const QByteArray bytes = text.toLatin1();
    const auto withTerminator = static_cast<std::size_t>(bytes.size()) + 1;
    auto array = std::make_unique<char[]>(withTerminator);
    std::copy_n(bytes.constData(), withTerminator, array.get());
    return array.release();
}

void CSonarTestController::HandleReturn(int code, TestResult_T& result)
{
    if (code != 0) {
        result = TEST_FAILED;
        Message("Call to Lowscan function from CSonarTestController Failed, return value: " +
                    std::to_string(code) + "\n",
                nullptr, false, true);
    }
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

int CSonarTestController::BatteryVoltage(std::string& output)
{
    return ShowFileContents(QString::fromLatin1(UnitPaths::c_BatteryVoltage), &output);
}

int CSonarTestController::LCDTemperature(std::string& output)
{
    return ShowFileContents(QString::fromLatin1(UnitPaths::c_LcdTemperature), &output);
}

int CSonarTestController::SensePin(std::string& output)
{
    return ShowFileContents(QString::fromLatin1(UnitPaths::c_SensePin), &output);
}
