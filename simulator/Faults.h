#pragma once

#include "simulator/DeviceModel.h"

#include <string>
#include <string_view>
#include <vector>

/// Counted operations that a fault can befall.
enum class FaultTarget_T { Write, Ioctl, Reply, Fifo, Interrupt };

/// A planned fault.
struct Fault_T {
    std::string specification; ///< as it was given
    FaultTarget_T target;
    std::size_t number; ///< 1-based count of the operation; 0: each of them
    int value;          ///< errno or FIFO status
    /// Does it to an outcome; place is where in the reply.
    void (*play)(DeviceOutcome_T& outcome, int value, std::size_t place);
};

/// The faults of a unit and the count of its operations, shared by all its devices.
class CFaultPlan
{
public:
    /// Reads specifications OPERATION:NUMBER=KIND, as FaultHelp() lists them. Throws std::invalid_argument,
    /// with one line that names the text and what is allowed, for the first that is none.
    explicit CFaultPlan(const std::vector<std::string>& specifications = {});

    /// Counts an operation and returns the faults that befall it, in the order given.
    std::vector<Fault_T> Next(FaultTarget_T target);

    /// Whether a fault made a device request fail: what that would have prepared is missing then, and the
    /// device may refuse what follows.
    bool ExplainsRefusals() const { return m_RequestFailed; }

    /// The specifications that befell no operation so far.
    const std::vector<std::string>& Unstruck() const { return m_Unstruck; }

private:
    std::vector<Fault_T> m_Faults;
    std::vector<std::size_t> m_Counts;
    std::vector<std::string> m_Unstruck;
    bool m_RequestFailed = false;
};

/// The operations and kinds of faults, a line each, for a help text.
std::string FaultHelp();

/// Any device with the faults of a plan in front of it; both must outlive it. A write or request that a fault
/// makes fail does not reach the device. What faults do stands in the meaning of the outcome, and every
/// outcome from the unit's first fault on is marked as faulted.
class CFaultyDevice final : public IDeviceModel
{
public:
    CFaultyDevice(IDeviceModel& device, CFaultPlan& plan) : m_Device(device), m_Plan(plan) {}

    DeviceOutcome_T Write(ByteView_T bytes) override;
    std::size_t IoctlArgumentSize(unsigned long request) const override;
    DeviceOutcome_T Ioctl(unsigned long request, ByteView_T argument) override;
    DeviceOutcome_T TakeImage(ByteView_T bytes) override;
    std::optional<DeviceOutcome_T> TakeUnasked() override;
    bool IsSerialLine() const override { return m_Device.IsSerialLine(); }
    void SetLine(const termios& settings) override { m_Device.SetLine(settings); }

private:
    void Befall(FaultTarget_T target, DeviceOutcome_T& outcome, std::size_t place = 0);

    IDeviceModel& m_Device;
    CFaultPlan& m_Plan;
};
