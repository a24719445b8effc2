#pragma once

/// Files and device nodes of a unit, as its board support and its application lay them out.
namespace UnitPaths
{
inline constexpr char c_VarrowProductId[] = "/sys/devices/platform/varrow/product_id";
inline constexpr char c_PelionProductId[] = "/sys/devices/platform/pelion/product_id";
inline constexpr char c_VarrowSonarPower[] = "/sys/devices/platform/varrow/sonar_power";
inline constexpr char c_PelionSonarPower[] = "/sys/devices/platform/pelion/sonar_power";

// Analogue inputs. Channel 1 carries the LCD temperature on displays and the board identification on the
// sounder modules.
#define ADC_DIRECTORY "/sys/devices/platform/omap/ti_tscadc/tiadc/iio:device0/"
inline constexpr char c_BatteryVoltage[] = ADC_DIRECTORY "in_voltage0_raw";
inline constexpr char c_LcdTemperature[] = ADC_DIRECTORY "in_voltage1_raw";
inline constexpr char c_SonarBoardId[] = ADC_DIRECTORY "in_voltage1_raw";
inline constexpr char c_SensePin[] = ADC_DIRECTORY "in_voltage4_raw";
#undef ADC_DIRECTORY
// Only on units with a temperature sensor of their own.
inline constexpr char c_WaterTemperature[] = "/sys/devices/platform/varrow/water_temperature";

inline constexpr char c_FirstLowscanFpga[] = "/dev/LSfpga0";
inline constexpr char c_SecondLowscanFpga[] = "/dev/LSfpga1";

inline constexpr char c_ApplicationVersion[] = "/corvane/Application/VERSION";
inline constexpr char c_PlatformVersion[] = "/VERSION";
inline constexpr char c_SerialNumber[] = "/corvane/Config/SerialNumber";

inline constexpr char c_ModuleFirmware[] = "/corvane/Application/QuenlorSounder/FPGAFirmware";
inline constexpr char c_DisplayFirmware[] = "/corvane/Application/FPGAFirmware";

inline constexpr char c_SounderKillScript[] = "/corvane/Application/KillQLSounder";
inline constexpr char c_ModuleSounderKillScript[] = "/corvane/Application/QuenlorSounder/KillQLSounder";
inline constexpr char c_StopSonarMarker[] = "/tmp/stop_sonar";
} // namespace UnitPaths
