#pragma once

#include "simulator/DeviceModel.h"

#include <string>
#include <string_view>

/// What bytes are as a firmware image.
struct FirmwareReading_T {
    std::string refusal; ///< why they are none; empty when they are one
    std::string product = {};
    std::uint8_t version = 0;
};

/// A small image file of the virtual unit: magic "SIMFPGA1", product name (1 to 16 characters) padded with
/// zeros to 16 bytes, version byte, 32-bit little-endian length of the configuration that follows, the
/// configuration (a fixed pattern), and a 32-bit little-endian checksum (FNV-1a) of everything before it.
Bytes_T MakeFirmwareImage(std::string_view product, std::uint8_t version);

/// Recognises exactly one whole image; anything before, behind or wrong in it makes it none.
FirmwareReading_T ReadFirmwareImage(ByteView_T bytes);
