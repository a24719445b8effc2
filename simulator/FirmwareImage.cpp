#include "simulator/FirmwareImage.h"

#include "simulator/WireBytes.h"

#include <algorithm>

namespace
{

constexpr std::string_view c_Magic = "SIMFPGA1";
constexpr std::size_t c_ProductAt = c_Magic.size();
constexpr std::size_t c_ProductWidth = 16;
constexpr std::size_t c_VersionAt = c_ProductAt + c_ProductWidth;
constexpr std::size_t c_LengthAt = c_VersionAt + 1;
constexpr std::size_t c_LengthWidth = 4;
constexpr std::size_t c_ConfigurationAt = c_LengthAt + c_LengthWidth;
constexpr std::size_t c_ChecksumWidth = 4;
constexpr std::size_t c_ConfigurationLength = 1000;

std::uint32_t Checksum(ByteView_T bytes)
{
    std::uint32_t hash = 2166136261U;
    for (const std::uint8_t byte : bytes) {
        hash = (hash ^ byte) * 16777619U;
    }
    return hash;
}

} // namespace

Bytes_T MakeFirmwareImage(std::string_view product, std::uint8_t version)
{
    assert(!product.empty() && product.size() <= c_ProductWidth);
    Bytes_T bytes(c_VersionAt);
    std::ranges::copy(c_Magic, bytes.begin());
    std::ranges::copy(product, bytes.begin() + c_ProductAt);
    bytes.push_back(version);
    PutLittleEndian(bytes, c_ConfigurationLength, c_LengthWidth);
    for (std::size_t i = 0; i < c_ConfigurationLength; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(i * 7));
    }
    PutLittleEndian(bytes, Checksum(bytes), c_ChecksumWidth);
    return bytes;
}

FirmwareReading_T ReadFirmwareImage(ByteView_T bytes)
{
    if (bytes.size() < c_ConfigurationAt + c_ChecksumWidth ||
        !std::equal(c_Magic.begin(), c_Magic.end(), bytes.begin())) {
        return {"no firmware image"};
    }
    const std::uint64_t rest = bytes.size() - c_ConfigurationAt - c_ChecksumWidth;
    const std::uint64_t length = GetLittleEndian(bytes, c_LengthAt, c_LengthWidth);
    if (length != rest) {
        return {length < rest ? "bytes behind the firmware image" : "firmware image is cut short"};
    }
    const ByteView_T covered = bytes.first(bytes.size() - c_ChecksumWidth);
    if (GetLittleEndian(bytes, covered.size(), c_ChecksumWidth) != Checksum(covered)) {
        return {"firmware image is damaged"};
    }
    const ByteView_T product = bytes.subspan(c_ProductAt, c_ProductWidth);
    return {{}, {product.begin(), std::ranges::find(product, 0)}, bytes[c_VersionAt]};
}
