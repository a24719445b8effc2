#pragma once

#include "simulator/models/PacketFpgaModel.h"
#include "simulator/models/Reception.h"

/// The registers and tables of the xK modules' FPGA.
const CPacketRegisterMap& CorRegisters();

/// The FPGA clocks of the modules.
inline constexpr double c_CorClockHz = 69'248'000;
inline constexpr double c_CorFastClockHz = 86'560'000;

/// The sounder FPGA of an xK module.
///
/// The receiver takes one of 128 periods of the converter's clock before its own sub-sampling: a sample each
/// 128 x baseband divisor x sub-sample rate / clock, which is 59 microseconds (4.4 cm of water) for 69.248
/// MHz, 8 and 4. The pulse lasts a microsecond for each entry of the chirp table. Samples are 16 bits,
/// little-endian. docs/scene.md describes what the other registers do to the echo.
///
/// The speed registers hold the low and the high byte of a count of the paddle wheel's ticks, 20 to the
/// metre. The wheel turns while bytes are on the link. Programs read the low byte once a second, so each such
/// read counts as another second, and keeps the high byte for the next read.
class CCorFpgaModel final : public CPacketFpgaModel
{
public:
    explicit CCorFpgaModel(const FpgaSetup_T& setup, double clockHz = c_CorClockHz);

private:
    struct Chirp_T {
        Wave_T wave = {};     ///< by entry; the highest amplitude is 1
        double level = 0;     ///< that amplitude, as a part of the transmitter's
        double frequency = 0; ///< in the middle of the amplitudes, Hz
    };

    EchoSettings_T Settings(unsigned int element) const;
    Chirp_T ReadChirp() const;
    FilterMatch_T Match(const Chirp_T& chirp, double centre, std::size_t divisor) const;
    double TransducerGain(unsigned int element, double frequency) const;
    std::string Command(std::uint8_t command) override;
    void BeforeRead(std::uint16_t address) override;

    const double m_ClockHz;
    const double m_WaterSpeed;
    std::chrono::seconds m_BetweenReadings{};
};
