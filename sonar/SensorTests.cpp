#include "Utilities/FPGAIF.h"
#include "Utilities/OSSLinuxFactory.h"
#include "framework/UnitPaths.h"
#include "sonar/SonarTestController.h"
#include "sonar/StopSignals.h"

#include <cmath>
#include <cstdio>
#include <unistd.h>

namespace
{
/// Temperature in degrees Celsius. The sensor's resistance falls by the factor e every 25 degrees. For a
/// reading of a tenth of the reference or less, the result is infinite or not a number.
double Temperature(const LSADCReadings_T& readings)
{
    const double ratio = static_cast<double>(readings.waterTemperature) / readings.reference;
    return -std::log((ratio * 10.0 - 1.0) / 27.334) / 0.04;
}

std::string InGeneralForm(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

/// Shows the operator each reading of a long run at once. Standard output only gets the report.
void ShowAtTerminal(const std::string& line)
{
    if (isatty(STDERR_FILENO) == 1) {
        std::fputs(line.c_str(), stderr);
    }
}
} // namespace

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

int CSonarTestController::WaterTemperature(std::string& out)
{
    const QString path = QString::fromLatin1(UnitPaths::c_WaterTemperature);
    if (FileExists(path)) {
        ShowFileContents(path, &out);
        return OPERATION_PERFORMED;
    }

    COSSLinuxFactory factory;
    CFPGAIF fpga(&factory, c_FirstElement);
    if (ReadSonarVersionEnsureValid(out, &fpga, c_FirstChannel) != TEST_PASSED) {
        return OPERATION_PERFORMED; // not TEST_FAILED, on purpose
    }
    LSADCReadings_T readings = {};
    if (const TSQEventCode_T code = fpga.GetADCReadings(&readings); code != c_Success) {
        Message("GetWaterTemp failed with return code: " + std::to_string(code) + "\n", nullptr, true, false);
        return TEST_FAILED;
    }
    Message(readings.reference == 0 ? "ADCRef is zero. Cannot calculate WaterTemperature\n"
                                    : InGeneralForm(Temperature(readings)) + "\n",
            &out, false, true);
    return OPERATION_PERFORMED;
}

int CSonarTestController::GetWaterSpeed(std::string& out, int duration)
{
    if (const int loaded = LoadFPGABinary(out, false); loaded != TEST_PASSED) {
        return loaded;
    }
    Message(m_InterfaceNotice, &out, false, true);
    COSSLinuxFactory factory;
    CFPGAIF fpga(&factory, c_FirstElement);
    FPGASpeedReading_T reading = {};

    const bool isEndless = duration == 0;
    CStopSignals signals;
    bool goesOn = true;
    // One reading more than there are seconds: one at the beginning of each and one at the end.
    for (std::int64_t second = 0; goesOn && (isEndless || second <= duration); ++second) {
        fpga.GetSpeedReading(&reading); // when it fails, the last good reading is shown again
        const std::string line = "Speed ticks: " + std::to_string(reading.ticks) + "\n";
        Message(line, &out, false, true);
        ShowAtTerminal(line);
        goesOn = signals.Wait(std::chrono::seconds(1));
    }
    return TEST_PASSED;
}
