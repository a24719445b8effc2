#pragma once

#include <cstdint>
#include <numeric>
#include <vector>

using WireBytes = std::vector<std::uint8_t>;

inline WireBytes operator+(WireBytes first, const WireBytes& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// A packet as the sounder FPGA parses it. Flags: 1 read, 2 block; the payload of a read is zeros.
inline WireBytes Packet(std::size_t address, const WireBytes& payload, std::uint8_t flags = 0)
{
    const auto low = [](std::size_t value) { return static_cast<std::uint8_t>(value % 256); };
    const std::size_t length = payload.size() - 1;
    return WireBytes{0x43, 0x53, low(address), low(address / 256), flags, low(length), low(length / 256)} +
           payload + WireBytes{low(std::accumulate(payload.begin(), payload.end(), std::size_t{0}))};
}
