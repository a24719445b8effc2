#pragma once

#include "simulator/models/DeviceModel.h"

#include <string>

/// A device on the unit's SPI driver. The driver works without power. It must be configured before anything
/// else. A request that is refused fails with an errno (ENOTTY if unknown, EFAULT for a null argument,
/// otherwise EINVAL); a refused write succeeds, because nothing on the link would report it. Without power,
/// writes and requests succeed without effect, and waits for the interrupt time out.
class CSpiDeviceModel : public IDeviceModel
{
public:
    DeviceOutcome_T Write(ByteView_T bytes) final;
    std::size_t IoctlArgumentSize(unsigned long request) const final;
    DeviceOutcome_T Ioctl(unsigned long request, ByteView_T argument) final;

    /// Time that bytes need on the link.
    static std::chrono::nanoseconds LinkTime(std::size_t bytes);

protected:
    /// A write to the configured device.
    virtual void Transfer(ByteView_T bytes, DeviceOutcome_T& outcome) = 0;
    virtual bool IsPowered() const = 0;
    /// A device without a FIFO refuses ping reads.
    virtual void StartPingRead(ByteView_T argument, DeviceOutcome_T& outcome);
    virtual void EndPingRead(ByteView_T argument, DeviceOutcome_T& outcome);

    void SetInterrupt(bool isPending) { m_IsInterruptPending = isPending; }
    /// Time that all writes so far needed on the link.
    std::chrono::nanoseconds TimeOnLink() const { return m_TimeOnLink; }

    /// Makes a request fail and says why.
    static void Refuse(DeviceOutcome_T& outcome, int error, std::string why);
    static constexpr std::size_t c_DescriptorSize = 20; ///< of a ping read, the argument of its start

private:
    struct Request_T;
    static const Request_T* FindRequest(unsigned long request);
    void Configure(ByteView_T argument, DeviceOutcome_T& outcome);
    void WaitForInterrupt(ByteView_T argument, DeviceOutcome_T& outcome);

    bool m_IsConfigured = false;
    bool m_IsInterruptPending = false;
    std::chrono::nanoseconds m_TimeOnLink{};
};
