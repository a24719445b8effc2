#pragma once

#include "simulator/PacketDecoder.h"

#include <string>
#include <vector>

/// What all these FPGAs have at the same place. A FIFO's control and status follow its data.
namespace PacketAddress
{
inline constexpr std::uint16_t c_Command = 0;
inline constexpr std::uint16_t c_Status = 1;
inline constexpr std::uint16_t c_Version = 2;
inline constexpr std::uint16_t c_FifoControl = 1;
inline constexpr std::uint16_t c_FifoStatus = 2;
} // namespace PacketAddress

/// What a program may do with a register.
enum class RegisterAccess_T {
    Read,
    Write,
    Stream, ///< read with any length
    Table,  ///< written with the block flag, from anywhere in it up to its end
    Debug   ///< a bank of one-byte registers, read and written; each write is answered
};

/// A register or table of an FPGA that is driven by packets.
struct PacketRegister_T {
    std::string name;      ///< as it stands in a trace
    std::uint16_t address; ///< first address
    std::uint16_t width;   ///< bytes: exact for a register, the whole for a table or a bank, 0 for a stream
    RegisterAccess_T access;
    std::uint16_t entryWidth = 0; ///< bytes an entry of a table
    bool hasBlockFlag = false;    ///< packets for it carry the block flag, as those for a table always do

    bool NeedsBlockFlag() const { return hasBlockFlag || access == RegisterAccess_T::Table; }
};

/// The registers and tables of one kind of FPGA. Packets with the block flag have an address space of their
/// own: a long table may lie over the addresses of registers that are written without it.
class CPacketRegisterMap
{
public:
    explicit CPacketRegisterMap(std::vector<PacketRegister_T> rows) : m_Rows(std::move(rows)) {}

    /// The register that begins at an address, or the table or bank that it lies in; null when there is none.
    /// When only one is there that wants the other block flag, it is that one.
    const PacketRegister_T* Find(std::uint16_t address, bool block) const;

    /// All of them; a value that the device takes byte by byte is several registers.
    const std::vector<PacketRegister_T>& Rows() const { return m_Rows; }

    /// Why the map does not allow a packet; empty when it does.
    std::string AccessRefusal(const CorPacket_T& packet) const;

private:
    std::vector<PacketRegister_T> m_Rows;
};

/// What bytes at an address of a register or table say: "Command=0x02", "ChirpTable[0..511]" (all entries
/// that the bytes touch), "FifoData (2048 bytes)".
std::string DescribeBytes(const PacketRegister_T& row, std::uint16_t address, ByteView_T bytes);
