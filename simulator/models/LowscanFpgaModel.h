#pragma once

#include "simulator/models/Echo.h"
#include "simulator/models/FpgaFirmware.h"

#include <array>
#include <map>

/// The Lowscan FPGA without its links: registers of 32 bits, two channels, ping return packets.
///
/// A ping is fired on each channel whose period is not 0. A sample is taken each 475 nanoseconds x decimation
/// rate (0.36 mm of water x rate), the first count of the sampling registers says how many; the pulse lasts
/// 16 undecimated samples for each unit of the period. Samples are bytes.
///
/// A packet is 2 bytes of zero; blocks of 128 samples, each with two values of 12 bits left-aligned in 16,
/// the most significant byte first: the peak and the mean of the block's samples, squared so that full scale
/// is 65,535; the remaining samples; and a byte of zero.
///
/// Without power or firmware, registers are checked but not kept, and no ping fires.
class CLowscanFpgaModel
{
public:
    static constexpr std::size_t c_Channels = 2;

    explicit CLowscanFpgaModel(const FpgaSetup_T& setup);

    /// Why the FPGA does nothing: "no power" or "no firmware"; empty when it works.
    std::string_view Silence() const { return m_Firmware.Silence(); }
    bool IsPowered() const { return m_Firmware.IsPowered(); }

    /// Takes a value; the outcome gets its meaning, or why the register would not understand it.
    void SetRegister(std::uint16_t address, std::uint32_t value, DeviceOutcome_T& outcome);
    /// The value of a register.
    std::uint32_t Register(std::uint16_t address) const;

    /// Fires a ping with the settings of the registers. The channels' packets then wait.
    void Ping(DeviceOutcome_T& outcome);
    /// Whether there are packets of this many bytes.
    static bool IsPacketSize(std::size_t size);
    /// Takes the packet of a channel's last ping; empty when there is none.
    Bytes_T TakePacket(std::size_t channel);
    /// Seconds from one sample of the last ping to the next; 0 when there was none.
    double SampleInterval() const { return m_Echo.Interval(); }

    /// Answers with two bytes of zero, major and minor number, and zeros up to a size.
    void ReportVersion(std::size_t size, DeviceOutcome_T& outcome) const;
    /// Reference, water temperature and sense reading, 24 bits each, most significant byte first.
    Bytes_T AdcReadings() const;

    /// What child processes wrote to the node that firmware goes to.
    DeviceOutcome_T TakeImage(ByteView_T bytes);

private:
    Bytes_T PingChannel(std::size_t channel);

    CFpgaFirmware m_Firmware;
    Scene_T m_Scene;
    CEcho m_Echo;
    std::map<std::uint16_t, std::uint32_t> m_Registers = {};
    std::array<Bytes_T, c_Channels> m_Packets = {};
};
