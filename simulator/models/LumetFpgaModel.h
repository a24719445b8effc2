#pragma once

#include "simulator/models/PacketFpgaModel.h"

/// The registers and tables of the Lumet family's FPGA.
const CPacketRegisterMap& LumetRegisters();

/// The sounder FPGA of the Lumet family: two receive channels with FIFOs of their own.
///
/// A command with bit 0 fires a ping on the channels of bits 1 (channel 0) and 2 (channel 1). A sample is
/// taken each 1024 x sub-sample rate / 71 MHz, which is 43 microseconds (3.2 cm of water) for a rate of 3;
/// the pulse lasts the burst length in cycles of the start frequency. Samples are bytes. docs/scene.md
/// describes what the other registers do to the echo.
///
/// The analogue readings show the scene's water temperature (WaterAdc_T).
class CLumetFpgaModel final : public CPacketFpgaModel
{
public:
    explicit CLumetFpgaModel(const FpgaSetup_T& setup);

private:
    EchoSettings_T Settings(std::size_t channel) const;
    std::string Command(std::uint8_t command) override;
};
