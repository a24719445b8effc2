#pragma once

#include "simulator/models/LowscanFpgaModel.h"

#include <memory>

/// One of the two serial lines of a Lowscan FPGA. Registers are written over either line. The ping return
/// packet of a channel comes over the line of its number.
///
/// One write is one frame of 8 bytes: 0xF5, address and value with the most significant byte first, and the
/// sum of these bytes modulo 256. Anything else is refused, and so is all traffic while the line lacks the
/// settings that the FPGA needs: 3,000,000 baud, 8 bits, no parity, one stop bit, and nothing in the terminal
/// that would alter bytes. Register 1 takes commands: 1 pings, 3 reports the version in 1,024 bytes. Without
/// power or firmware the line is silent.
class CLowscanUartModel final : public IDeviceModel
{
public:
    /// @param pFpga    the FPGA, which all the unit's lines share
    /// @param channel  0 or 1
    CLowscanUartModel(std::shared_ptr<CLowscanFpgaModel> pFpga, std::size_t channel);

    DeviceOutcome_T Write(ByteView_T bytes) override;
    DeviceOutcome_T Ioctl(unsigned long request, ByteView_T argument) override;
    DeviceOutcome_T TakeImage(ByteView_T bytes) override;
    std::optional<DeviceOutcome_T> TakeUnasked() override;
    double SampleInterval() const override { return m_pFpga->SampleInterval(); }
    bool IsSerialLine() const override { return true; }
    void SetLine(const termios& settings) override;

private:
    void Perform(ByteView_T frame, DeviceOutcome_T& outcome);
    void Command(std::uint32_t command, DeviceOutcome_T& outcome);
    /// Sends the channel's packet when there is one.
    void SendPacket(DeviceOutcome_T& outcome);

    std::shared_ptr<CLowscanFpgaModel> m_pFpga;
    const std::size_t m_Channel;
    std::string m_WrongSettings; ///< names of the settings that are not as the FPGA needs them
};

/// The node that takes the firmware of a Lowscan FPGA whose registers are on serial lines.
class CLowscanLoaderModel final : public IDeviceModel
{
public:
    explicit CLowscanLoaderModel(std::shared_ptr<CLowscanFpgaModel> pFpga) : m_pFpga(std::move(pFpga)) {}

    DeviceOutcome_T Write(ByteView_T) override;
    DeviceOutcome_T Ioctl(unsigned long, ByteView_T) override;
    DeviceOutcome_T TakeImage(ByteView_T bytes) override { return m_pFpga->TakeImage(bytes); }

private:
    std::shared_ptr<CLowscanFpgaModel> m_pFpga;
};
