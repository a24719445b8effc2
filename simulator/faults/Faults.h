#pragma once

#include "simulator/faults/FaultTable.h"

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The faults of a unit and the count of its operations, shared by all its devices.
class CFaultPlan
{
public:
    explicit CFaultPlan(std::vector<Fault_T> faults) : m_Faults(std::move(faults)) {}

    /// Counts an operation and returns its faults, in the order given.
    std::vector<Fault_T> CountAndMatch(FaultOperation_T operation);

    /// The faults that are played where the program calls the system, in the order given.
    std::vector<Fault_T> OfCalls() const;
    /// Counts an operation where the program calls the system.
    void Count(FaultOperation_T operation) { ++m_Counts[static_cast<std::size_t>(operation)]; }
    /// Notes that a fault was played, by its specification.
    void Trigger(std::string_view specification);
    /// Sets the function that reads new lines of the preloaded library's log and reports them by the two
    /// functions above. Each function below calls it first.
    void SetLogReader(std::function<void()> read) { m_LogReader = std::move(read); }

    /// Whether a fault was played that leaves a device without what the program asked for: the device may
    /// refuse what follows.
    bool ExplainsRefusals() const;

    /// A line for each fault that was not triggered: the fault, and how many operations there were.
    std::vector<std::string> Untriggered() const;

    /// How many operations of each kind there were, as lines "OPERATION COUNT".
    std::string Counts() const;

private:
    std::vector<Fault_T> m_Faults;
    std::array<std::size_t, c_FaultOperationNames.size()> m_Counts{};
    std::function<void()> m_LogReader = [] {};
};

/// A device with the faults of a plan in front of it; both must outlive it. The meaning of an outcome names
/// its faults. From the first fault on that explains refusals, every outcome is marked as faulted.
class CFaultyDevice final : public IDeviceModel
{
public:
    CFaultyDevice(IDeviceModel& device, CFaultPlan& plan) : m_Device(device), m_Plan(plan) {}

    DeviceOutcome_T Write(ByteView_T bytes) override;
    std::size_t IoctlArgumentSize(unsigned long request) const override
    {
        return m_Device.IoctlArgumentSize(request);
    }
    DeviceOutcome_T Ioctl(unsigned long request, ByteView_T argument) override;
    DeviceOutcome_T TakeImage(ByteView_T bytes) override { return Marked(m_Device.TakeImage(bytes)); }
    std::optional<DeviceOutcome_T> TakeUnasked() override;
    bool IsSerialLine() const override { return m_Device.IsSerialLine(); }
    void SetLine(const termios& settings) override { m_Device.SetLine(settings); }

private:
    void Play(FaultOperation_T operation, FaultTarget_T& target);
    void PlayOnBytes(FaultOperation_T operation, DeviceOutcome_T& outcome, Bytes_T& bytes, Bytes_T& previous);
    DeviceOutcome_T Marked(DeviceOutcome_T outcome);

    IDeviceModel& m_Device;
    CFaultPlan& m_Plan;
    Bytes_T m_LastReply;
    Bytes_T m_LastFill;
};
