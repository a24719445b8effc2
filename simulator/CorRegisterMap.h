#pragma once

#include "simulator/PacketDecoder.h"

#include <span>
#include <string>
#include <string_view>

/// What a program may do with a register.
enum class CorAccess_T {
    Read,
    Write,
    Stream, ///< read with any length
    Block   ///< a table: written with the block flag, from anywhere in it up to its end
};

/// A register or table of the xK modules' FPGA.
struct CorRegister_T {
    std::string_view name; ///< as it stands in a trace
    std::uint16_t address; ///< first address
    std::uint16_t width;   ///< bytes: exact for a register, the whole table for a table, 0 for a stream
    CorAccess_T access;
    std::uint16_t entryWidth = 0; ///< bytes an entry of a table
};

/// The registers that do something or describe the ping; all others just hold what was written.
namespace CorAddress
{
inline constexpr std::uint16_t c_Command = 0;
inline constexpr std::uint16_t c_Status = 1;
inline constexpr std::uint16_t c_Version = 2;
inline constexpr std::uint16_t c_SampleCount = 16;
inline constexpr std::uint16_t c_CentreFrequency = 32;
inline constexpr std::uint16_t c_BasebandSubSample = 38;
inline constexpr std::uint16_t c_SubSampleRate = 52;
inline constexpr std::uint16_t c_SpeedA = 64;
inline constexpr std::uint16_t c_SpeedB = 65;
inline constexpr std::uint16_t c_TransducerRead = 66;
inline constexpr std::uint16_t c_FifoData = 80;
inline constexpr std::uint16_t c_FifoControl = 81;
inline constexpr std::uint16_t c_FifoStatus = 82;
inline constexpr std::uint16_t c_ChirpLength = 512;
inline constexpr std::uint16_t c_TvgTable = 0x3000;
inline constexpr std::uint16_t c_ChirpTable = 0x4000;
inline constexpr std::uint16_t c_CorrelationTable = 0x8000;
} // namespace CorAddress

/// One address beyond the last table.
inline constexpr std::size_t c_CorAddressSpace = 0xC000;

/// All registers and tables, by ascending address.
std::span<const CorRegister_T> CorRegisterRows();

/// The register that begins at an address, or the table that the address lies in; null when there is none.
const CorRegister_T* FindCorRegister(std::uint16_t address);

/// Why the map does not allow a packet; empty when it does.
std::string CorAccessRefusal(const CorPacket_T& packet);

/// What bytes at an address of a register or table say: "Command=0x02", "ChirpTable[0..511]" (all entries
/// that the bytes touch), "FifoData (2048 bytes)".
std::string DescribeCorBytes(const CorRegister_T& row, std::uint16_t address, ByteView_T bytes);
