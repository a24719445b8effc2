#pragma once

#include "simulator/PacketRegisterMap.h"

/// The registers that do something or describe the ping; all others just hold what was written.
namespace CorAddress
{
inline constexpr std::uint16_t c_SampleCount = 16;
inline constexpr std::uint16_t c_CentreFrequency = 32;
inline constexpr std::uint16_t c_BasebandSubSample = 38;
inline constexpr std::uint16_t c_SubSampleRate = 52;
inline constexpr std::uint16_t c_SpeedA = 64;
inline constexpr std::uint16_t c_SpeedB = 65;
inline constexpr std::uint16_t c_TransducerRead = 66;
inline constexpr std::uint16_t c_FifoData = 80;
inline constexpr std::uint16_t c_ChirpLength = 512;
inline constexpr std::uint16_t c_TvgTable = 0x3000;
inline constexpr std::uint16_t c_ChirpTable = 0x4000;
inline constexpr std::uint16_t c_CorrelationTable = 0x8000;
} // namespace CorAddress

/// The registers and tables of the xK modules' FPGA.
const CPacketRegisterMap& CorRegisters();
