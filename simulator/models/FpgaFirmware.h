#pragma once

#include "simulator/models/DeviceModel.h"
#include "simulator/models/EchoTruth.h"
#include "simulator/models/Scene.h"

#include <functional>
#include <string>
#include <string_view>

/// A small image file of the virtual unit: magic "SIMFPGA1", product name (1 to 16 characters) padded with
/// zeros to 16 bytes, version byte, 32-bit little-endian length of the configuration that follows, the
/// configuration (a fixed pattern), and a 32-bit little-endian checksum (FNV-1a) of everything before it.
Bytes_T MakeFirmwareImage(std::string_view product, std::uint8_t version);

/// The parts of a simulated FPGA that differ between units.
struct FpgaSetup_T {
    std::string product; ///< name that a firmware image must carry; empty: it takes none
    Scene_T scene = {};
    std::function<bool()> isPowered = [] { return true; };
    std::optional<std::uint8_t> firmwareVersion = {}; ///< firmware that is loaded from the start
    bool needsReset = false; ///< an image is taken only after the reset "1" was written to its node
    TruthSink_T truth = {};  ///< takes the truth of each ping; may be empty
};

/// The power and the firmware of a simulated FPGA. A reset or an image removes the old firmware, even if the
/// image is bad. An image without the reset that it needs is ignored. The FPGA keeps its state when the power
/// switch goes off and on again.
class CFpgaFirmware
{
public:
    explicit CFpgaFirmware(const FpgaSetup_T& setup);

    bool IsPowered() const { return m_IsPowered(); }
    bool IsLoaded() const { return m_Version.has_value(); }
    std::uint8_t Version() const { return m_Version.value_or(0); }
    /// Why the FPGA does nothing: "no power" or "no firmware"; empty when it works.
    std::string_view Silence() const;

    /// What child processes wrote to the node.
    struct Taken_T {
        std::string meaning;      ///< what it was, for the trace
        bool hasRestarted = true; ///< the FPGA lost what it held
    };
    /// Takes a reset, an image, or one after the other.
    Taken_T Take(ByteView_T bytes);

private:
    /// Takes the image; returns what it was, for the trace.
    std::string Load(ByteView_T bytes);

    std::string m_Product;
    std::function<bool()> m_IsPowered;
    std::optional<std::uint8_t> m_Version;
    const bool m_NeedsReset;
    bool m_IsReset = false; ///< no image came since
};
