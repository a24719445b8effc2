#pragma once

#include <array>
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

/// The register addresses of a set-up of the Lowscan FPGA, in their order: each channel's, then both
/// channels'.
constexpr std::array<std::uint8_t, 14> c_LowscanAddresses = {17, 18, 33, 37, 34, 35, 25,
                                                             26, 41, 45, 42, 43, 66, 65};

/// A register of the Lowscan FPGA and its value, as both links send them.
inline WireBytes LowscanRecord(std::uint8_t address, std::uint32_t value)
{
    const auto byte = [value](int shift) { return static_cast<std::uint8_t>(value >> shift); };
    return {0, address, byte(24), byte(16), byte(8), byte(0)};
}
