#include "simulator/PacketDecoder.h"

#include "simulator/WireBytes.h"

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

/// Why a packet of the right frame is refused; empty when it is well-formed.
std::string ContentRefusal(const CorPacket_T& packet, std::uint8_t flags, std::uint8_t checksum)
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

} // namespace

CorDecoding_T DecodeCorPackets(ByteView_T bytes)
{
    CorDecoding_T decoding;
    std::size_t offset = 0;
    const auto refuse = [&](const std::string& why) {
        decoding.refusals.push_back("offset " + std::to_string(offset) + ": " + why);
    };
    if (bytes.empty()) {
        refuse("empty write");
    }
    while (offset < bytes.size()) {
        const ByteView_T rest = bytes.subspan(offset);
        if (rest.size() < c_SmallestPacket) {
            refuse("length: " + std::to_string(rest.size()) + " bytes are no packet");
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
        const CorPacket_T packet{
            .offset = offset,
            .address = static_cast<std::uint16_t>(GetLittleEndian(rest, c_AddressAt, c_AddressWidth)),
            .read = (flags & c_ReadFlag) != 0,
            .block = (flags & c_BlockFlag) != 0,
            .payload = rest.subspan(c_PayloadAt, length)};
        if (const std::string why = ContentRefusal(packet, flags, rest[c_PayloadAt + length]); !why.empty()) {
            refuse(why);
        } else {
            decoding.packets.push_back(packet);
        }
        offset += whole;
    }
    return decoding;
}
