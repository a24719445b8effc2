#pragma once

#include "simulator/PacketRegisterMap.h"

/// The registers that do something, describe the ping or show the world; all others just hold what was
/// written. Each channel has a block of its own, in which its registers have these places.
namespace LumetAddress
{
inline constexpr std::size_t c_Channels = 2;

inline constexpr std::uint16_t c_AdcReference = 128;
inline constexpr std::uint16_t c_WaterTemperature = 132;
inline constexpr std::uint16_t c_SenseResistor = 136;
inline constexpr std::uint16_t c_Debug = 240;

inline constexpr std::uint16_t c_SampleCount = 0x10;
inline constexpr std::uint16_t c_SubSampleRate = 0x42;
inline constexpr std::uint16_t c_FifoData = 0x50;
inline constexpr std::uint16_t c_StartFrequency = 0x200;
inline constexpr std::uint16_t c_BurstLength = 0x208;
inline constexpr std::uint16_t c_CorrelationTable = 0x2000;

/// Address of a register of a channel, 0 or 1.
constexpr std::uint16_t Of(std::size_t channel, std::uint16_t place)
{
    return static_cast<std::uint16_t>(0x4000 * (channel + 1) + place);
}
} // namespace LumetAddress

/// The registers and tables of the Lumet family's FPGA.
const CPacketRegisterMap& LumetRegisters();
