#include "simulator/models/FpgaFirmware.h"

#include "simulator/models/WireBytes.h"

#include <algorithm>
#include <array>
#include <utility>

namespace
{
/// The output of "echo 1".
constexpr std::array<std::uint8_t, 2> c_Reset = {'1', '\n'};

// A firmware image.
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

/// Why the bytes are not exactly one whole image; empty when they are.
std::string ImageRefusal(ByteView_T bytes)
{
    if (bytes.size() < c_ConfigurationAt + c_ChecksumWidth ||
        !std::equal(c_Magic.begin(), c_Magic.end(), bytes.begin())) {
        return "no firmware image";
    }
    const std::uint64_t rest = bytes.size() - c_ConfigurationAt - c_ChecksumWidth;
    const std::uint64_t length = GetLittleEndian(bytes, c_LengthAt, c_LengthWidth);
    if (length != rest) {
        return length < rest ? "bytes after the firmware image" : "firmware image is cut short";
    }
    const ByteView_T covered = bytes.first(bytes.size() - c_ChecksumWidth);
    const bool isWhole = GetLittleEndian(bytes, covered.size(), c_ChecksumWidth) == Checksum(covered);
    return isWhole ? "" : "firmware image is damaged";
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

CFpgaFirmware::CFpgaFirmware(const FpgaSetup_T& setup)
    : m_Product(setup.product), m_IsPowered(setup.isPowered), m_Version(setup.firmwareVersion),
      m_NeedsReset(setup.needsReset)
{
}

std::string_view CFpgaFirmware::Silence() const
{
    if (!IsPowered()) {
        return "no power";
    }
    return IsLoaded() ? "" : "no firmware";
}

CFpgaFirmware::Taken_T CFpgaFirmware::Take(ByteView_T bytes)
{
    if (!IsPowered()) {
        return {std::string(Silence()), false};
    }
    std::string meaning;
    while (m_NeedsReset && bytes.size() >= c_Reset.size() &&
           std::equal(c_Reset.begin(), c_Reset.end(), bytes.begin())) {
        m_IsReset = true;
        m_Version.reset();
        bytes = bytes.subspan(c_Reset.size());
        meaning += bytes.empty() ? "reset" : "reset; ";
    }
    if (bytes.empty()) {
        return {meaning};
    }
    // Without its reset the FPGA does not listen for an image.
    if (!std::exchange(m_IsReset, false) && m_NeedsReset) {
        return {"not loaded: no reset before it", false};
    }
    return {meaning + Load(bytes)};
}

std::string CFpgaFirmware::Load(ByteView_T bytes)
{
    m_Version.reset();
    if (const std::string why = ImageRefusal(bytes); !why.empty()) {
        return "not loaded: " + why;
    }
    const ByteView_T name = bytes.subspan(c_ProductAt, c_ProductWidth);
    const std::string product(name.begin(), std::ranges::find(name, 0));
    if (product != m_Product) {
        return "not loaded: firmware image is for " + product;
    }
    m_Version = bytes[c_VersionAt];
    return "firmware of " + product + ", version " + std::to_string(*m_Version);
}
