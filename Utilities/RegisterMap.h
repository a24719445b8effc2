#pragma once

#include <cstddef>
#include <cstdint>

/// Address of an FPGA register, or of the first byte of a table.
using CorFPGAAddress_T = std::uint16_t;

/// How many packets carry a register that is wider than a byte.
enum class Packets {
    One,       ///< all bytes in one packet
    OnePerByte ///< each byte in a packet of its own, at consecutive addresses from the low byte up
};

/// When a written register leaves.
enum class Delivery {
    Queued, ///< with the next transmit
    Sent    ///< at once, with everything queued before it
};

/// One row of a register map; the constant's name is the register's. Values are little-endian on the wire.
struct RegisterRow_T {
    CorFPGAAddress_T address;
    std::size_t width = 1; ///< bytes, 1 to 4; without meaning for a table
    Packets packets = Packets::One;
    bool block = false; ///< the packets carry the block flag, as those of every table do
    Delivery delivery = Delivery::Queued;
};

/// Registers that every FPGA on a packet link has.
namespace PacketRegisters
{
inline constexpr RegisterRow_T c_Command{.address = 0};
inline constexpr RegisterRow_T c_Status{.address = 1};
inline constexpr RegisterRow_T c_Version{.address = 2};
inline constexpr RegisterRow_T c_BoostLevel{.address = 8};
inline constexpr RegisterRow_T c_Sync{.address = 96, .delivery = Delivery::Sent};
} // namespace PacketRegisters
