#pragma once

#include "simulator/models/DeviceModel.h"

#include <string>
#include <vector>

/// One well-formed command packet of a write.
struct Packet_T {
    std::size_t offset;    ///< of its first byte in the write
    std::uint16_t address; ///< first FPGA address
    bool read;             ///< a read request; its payload is the zeros that clock the reply out
    bool block;            ///< block flag
    ByteView_T payload;    ///< a view on the written bytes, never empty
};

/// Takes the bytes of one write apart into its well-formed packets, in order; they view the given bytes. A
/// packet with a wrong flag, payload or checksum is refused, and the next one is looked at. After a wrong
/// sync word or a length beyond the write it is not known where the next packet begins, so the rest is
/// refused.
std::vector<Packet_T> DecodePackets(ByteView_T bytes, std::vector<std::string>& refusals);

/// What all these FPGAs have at the same address. A FIFO's control and status follow its data.
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
    std::string name;      ///< as in a trace
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
    /// If there is only one that takes the other block flag, it is that one.
    const PacketRegister_T* Find(std::uint16_t address, bool block) const;

    /// All of them; a value that the device takes byte by byte is several registers.
    const std::vector<PacketRegister_T>& Rows() const { return m_Rows; }

    /// Why the map does not allow a packet; empty when it does.
    std::string AccessRefusal(const Packet_T& packet) const;

private:
    std::vector<PacketRegister_T> m_Rows;
};

/// What bytes at an address of a register or table say: "Command=0x02", "ChirpTable[0..511]" (all entries
/// that the bytes touch), "FifoData (2048 bytes)".
std::string DescribeBytes(const PacketRegister_T& row, std::uint16_t address, ByteView_T bytes);
