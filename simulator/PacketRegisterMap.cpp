#include "simulator/PacketRegisterMap.h"

#include "simulator/WireBytes.h"

namespace
{

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
std::string LengthRefusal(const CorPacket_T& packet, const PacketRegister_T& row, const std::string& name)
{
    const std::size_t size = packet.payload.size();
    const std::string count = std::to_string(size) + " bytes for " + name;
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

std::string CPacketRegisterMap::AccessRefusal(const CorPacket_T& packet) const
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
        return row.name + " (" + std::to_string(bytes.size()) + " bytes)";
    case Read:
    case Write:
    case Debug:
        break;
    }
    const std::string place = row.access == Debug ? "[" + std::to_string(first) + "]" : "";
    return row.name + place + "=" + HexText(GetLittleEndian(bytes, 0, bytes.size()), 2 * bytes.size());
}
