#include "simulator/FpgaFirmware.h"

#include "simulator/FirmwareImage.h"

#include <algorithm>
#include <array>
#include <utility>

namespace
{
/// What "echo 1" writes.
constexpr std::array<std::uint8_t, 2> c_Reset = {'1', '\n'};
} // namespace

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
    FirmwareReading_T image = ReadFirmwareImage(bytes);
    if (image.refusal.empty() && image.product != m_Product) {
        image.refusal = "firmware image is for " + image.product;
    }
    m_Version.reset();
    if (!image.refusal.empty()) {
        return "not loaded: " + image.refusal;
    }
    m_Version = image.version;
    return "firmware of " + image.product + ", version " + std::to_string(image.version);
}
