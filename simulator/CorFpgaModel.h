#pragma once

#include "simulator/CorFifo.h"
#include "simulator/CorRegisterMap.h"
#include "simulator/DeviceModel.h"
#include "simulator/Echo.h"
#include "simulator/Scene.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

/// The FPGA clocks there are.
inline constexpr double c_CorClockHz = 69'248'000;
inline constexpr double c_CorFastClockHz = 86'560'000;

/// What makes one simulated FPGA of an xK module.
struct CorFpgaSetup_T {
    std::string product; ///< name that a firmware image must carry
    Scene_T scene = {};
    std::function<bool()> isPowered = [] { return true; };
    double clockHz = c_CorClockHz;
    std::optional<std::uint8_t> firmwareVersion = {}; ///< firmware that is loaded from the start
};

/// The sounder FPGA of an xK module behind its SPI driver.
///
/// The driver's side works without power: it must be configured before anything else, and between the
/// requests start and end ping read a write is filled from the FIFO. A request that is refused fails with an
/// errno (unknown ENOTTY, null argument EFAULT, else EINVAL); a refused write fails nowhere, for nothing on
/// the link would tell.
///
/// Without power nothing answers: writes and requests succeed without effect, waits for the interrupt time
/// out and ping reads bring zeros. Without firmware packets are still taken apart and held against the
/// register map, but writes have no effect and every read brings zeros. Loading an image resets the FPGA,
/// whether the image is good or not. A power switch that goes off and on again does not make the FPGA forget.
///
/// The FIFO status is 4 after everything was read exactly (CCorFifo names the other values); its error bits
/// stay until 2 is written to FIFO control, which clears the FIFO.
class CCorFpgaModel final : public IDeviceModel
{
public:
    explicit CCorFpgaModel(CorFpgaSetup_T setup);

    DeviceOutcome_T Write(ByteView_T bytes) override;
    std::size_t IoctlArgumentSize(unsigned long request) const override;
    DeviceOutcome_T Ioctl(unsigned long request, ByteView_T argument) override;
    DeviceOutcome_T TakeImage(ByteView_T bytes) override;

    /// Sets what the world shows the FPGA in a register that the program can only read: status, speed,
    /// transducer identification. It outlives resets.
    void SetInput(std::uint16_t address, std::uint8_t value);

    /// What registers and tables hold, count bytes from an address
    /// below c_CorAddressSpace; not those of the FIFO.
    /// The view lasts until the next operation.
    ByteView_T Contents(std::uint16_t address, std::size_t count) const;

private:
    struct Request_T;
    static const Request_T* FindRequest(unsigned long request);
    void Configure(ByteView_T argument, DeviceOutcome_T& outcome);
    void WaitForInterrupt(ByteView_T argument, DeviceOutcome_T& outcome);
    void StartPingRead(ByteView_T argument, DeviceOutcome_T& outcome);
    void EndPingRead(ByteView_T argument, DeviceOutcome_T& outcome);

    void Fill(std::size_t count, DeviceOutcome_T& outcome);
    void Perform(const CorPacket_T& packet, DeviceOutcome_T& outcome);
    void Answer(const CorPacket_T& packet, const CorRegister_T& row, DeviceOutcome_T& outcome);
    std::string Store(const CorPacket_T& packet);
    std::string Command(std::uint8_t command);
    std::string FirePing();

    void Reset(std::optional<std::uint8_t> firmwareVersion);
    Bytes_T TakeFifo(std::size_t count, DeviceOutcome_T& outcome);
    std::uint32_t Value(std::uint16_t address, std::size_t width) const;

    CorFpgaSetup_T m_Setup;
    CEcho m_Echo;
    std::map<std::uint16_t, std::uint8_t> m_Inputs = {};
    Bytes_T m_Memory = {}; ///< registers and tables by address; m_Fifo knows the FIFO status
    bool m_HasFirmware = false;
    bool m_IsConfigured = false;
    bool m_IsPingRead = false;
    bool m_InterruptPending = false;
    CCorFifo m_Fifo = {};
};
