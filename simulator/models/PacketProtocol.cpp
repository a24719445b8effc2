#include "simulator/models/PacketProtocol.h"

#include "simulator/ValueText.h"
#include "simulator/models/WireBytes.h"

#include <algorithm>

namespace
{
// A packet: sync word, address, flags, length minus one, payload, checksum.
constexpr std::size_t c_SyncAt = 0;
constexpr std::size_t c_SyncWidth = 2;
constexpr std::size_t c_AddressAt = 2;
constexpr std::size_t c_AddressWidth = 2;
constexpr std::size_t c_FlagsAt = 4;
constexpr std::size_t c_LengthAt = 5;
constexpr std::size_t c_LengthWidth = 2;
constexpr std::size_t c_PayloadAt = 7;
constexpr std::size_t c_ChecksumWidth = 1;
constexpr std::size_t c_SmallestPacket = c_PayloadAt + 1 + c_ChecksumWidth;

constexpr std::uint16_t c_Sync = 0x5343;
constexpr std::uint8_t c_ReadFlag = 0x01;
constexpr std::uint8_t c_BlockFlag = 0x02;

/// Why a whole packet is refused; empty when it is well-formed.
std::string ContentRefusal(const Packet_T& packet, std::uint8_t flags, std::uint8_t checksum)
{
    if ((flags & ~(c_ReadFlag | c_BlockFlag)) != 0) {
        return "flags " + HexText(flags, 2) + " have unknown bits";
    }
    if (packet.read && std::ranges::any_of(packet.payload, [](std::uint8_t byte) { return byte != 0; })) {
        return "payload of a read request is not all zero";
    }
    const std::uint8_t expected = packet.read ? std::uint8_t{0} : SumOfBytes(packet.payload);
    if (checksum != expected) {
        return "checksum " + HexText(checksum, 2) + ", expected " + HexText(expected, 2);
    }
    return {};
}

using enum RegisterAccess_T;

bool Covers(const PacketRegister_T& row, std::uint16_t address)
{
    const bool isArea = row.access == Table || row.access == Debug;
    return row.address == address || (isArea && address > row.address && address - row.address < row.width);
}

bool Allows(RegisterAccess_T access, bool read)
{
    return access == Debug || read == (access == Read || access == Stream);
}

/// Why a packet's payload does not fit its register.
std::string LengthRefusal(const Packet_T& packet, const PacketRegister_T& row, const std::string& name)
{
    const std::size_t size = packet.payload.size();
    const std::string count = ByteCount(size) + " for " + name;
    if (row.access == Table && packet.address - row.address + size > row.width) {
        return count + ", beyond the end of the table";
    }
    const std::size_t width = row.access == Debug ? 1 : row.width;
    if (row.access != Table && row.access != Stream && size != width) {
        return count + ", which takes " + std::to_string(width);
    }
    return {};
}
} // namespace

std::vector<Packet_T> DecodePackets(ByteView_T bytes, std::vector<std::string>& refusals)
{
    std::vector<Packet_T> packets;
    std::size_t offset = 0;
    const auto refuse = [&](const std::string& why) {
        refusals.push_back("offset " + std::to_string(offset) + ": " + why);
    };
    if (bytes.empty()) {
        refuse("empty write");
    }
    while (offset < bytes.size()) {
        const ByteView_T rest = bytes.subspan(offset);
        if (rest.size() < c_SmallestPacket) {
            refuse("length: " + ByteCount(rest.size()) + " cannot be a packet");
            break;
        }
        if (const auto sync = GetLittleEndian(rest, c_SyncAt, c_SyncWidth); sync != c_Sync) {
            refuse("sync word " + HexText(sync, 4) + ", expected " + HexText(c_Sync, 4));
            break;
        }
        const auto length = static_cast<std::size_t>(GetLittleEndian(rest, c_LengthAt, c_LengthWidth)) + 1;
        const std::size_t whole = c_PayloadAt + length + c_ChecksumWidth;
        if (whole > rest.size()) {
            refuse("length: a packet of " + std::to_string(whole) + " bytes in the " +
                   std::to_string(rest.size()) + " that are left");
            break;
        }
        const std::uint8_t flags = rest[c_FlagsAt];
        const Packet_T packet{
            .offset = offset,
            .address = static_cast<std::uint16_t>(GetLittleEndian(rest, c_AddressAt, c_AddressWidth)),
            .read = (flags & c_ReadFlag) != 0,
            .block = (flags & c_BlockFlag) != 0,
            .payload = rest.subspan(c_PayloadAt, length)};
        if (const std::string why = ContentRefusal(packet, flags, rest[c_PayloadAt + length]); !why.empty()) {
            refuse(why);
        } else {
            packets.push_back(packet);
        }
        offset += whole;
    }
    return packets;
}

const PacketRegister_T* CPacketRegisterMap::Find(std::uint16_t address, bool block) const
{
    const PacketRegister_T* pOther = nullptr;
    for (const PacketRegister_T& row : m_Rows) {
        if (Covers(row, address)) {
            if (row.NeedsBlockFlag() == block) {
                return &row;
            }
            pOther = &row;
        }
    }
    return pOther;
}

std::string CPacketRegisterMap::AccessRefusal(const Packet_T& packet) const
{
    const std::string place = HexText(packet.address, 4);
    const PacketRegister_T* const pRow = Find(packet.address, packet.block);
    if (pRow == nullptr) {
        return std::string(packet.read ? "read of" : "write to") + " unknown register " + place;
    }
    const std::string name = pRow->name + " (" + place + ")";
    if (!Allows(pRow->access, packet.read)) {
        return packet.read ? "read of " + name + ", which is write only"
                           : "write to " + name + ", which is read only";
    }
    if (packet.block != pRow->NeedsBlockFlag()) {
        return packet.block ? "block flag set on " + name : "block flag missing on " + name;
    }
    return LengthRefusal(packet, *pRow, name);
}

std::string DescribeBytes(const PacketRegister_T& row, std::uint16_t address, ByteView_T bytes)
{
    const std::size_t first = static_cast<std::size_t>(address - row.address);
    switch (row.access) {
    case Table: {
        const std::size_t last = first + bytes.size() - 1;
        return row.name + "[" + std::to_string(first / row.entryWidth) + ".." +
               std::to_string(last / row.entryWidth) + "]";
    }
    case Stream:
        return row.name + " (" + ByteCount(bytes.size()) + ")";
    case Read:
    case Write:
    case Debug:
        break;
    }
    const std::string place = row.access == Debug ? "[" + std::to_string(first) + "]" : "";
    return row.name + place + "=" + HexText(GetLittleEndian(bytes, 0, bytes.size()), 2 * bytes.size());
}
