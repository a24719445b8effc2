#pragma once

#include "simulator/DeviceModel.h"

#include <string>
#include <vector>

/// One well-formed command packet of a write.
struct CorPacket_T {
    std::size_t offset;    ///< place of its first byte in the write
    std::uint16_t address; ///< first FPGA address
    bool read;             ///< a read request; its payload is the zeros that clock the reply out
    bool block;            ///< block flag
    ByteView_T payload;    ///< a view on the written bytes, never empty
};

/// What a write holds: its well-formed packets in order, and a text for each thing that is none.
struct CorDecoding_T {
    std::vector<CorPacket_T> packets;
    std::vector<std::string> refusals;
};

/// Takes the bytes of one write apart. A packet with a wrong flag, payload or checksum is refused and the
/// next one is looked at; after a wrong sync word or a length beyond the write no packet can be told from the
/// rest, so the rest is refused. The packets view the given bytes.
CorDecoding_T DecodeCorPackets(ByteView_T bytes);
