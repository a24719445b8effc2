#pragma once

#include "simulator/FaultTable.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The faults of a unit and the count of its operations, shared by all its devices.
class CFaultPlan
{
public:
    /// Reads specifications as FaultOf() does, and throws as it does.
    explicit CFaultPlan(const std::vector<std::string>& specifications = {});

    /// Counts an operation and returns the faults that befall it, in the order given.
    std::vector<Fault_T> Next(FaultOperation_T operation);

    /// The faults that are played where the program calls the system, in the order given.
    std::vector<Fault_T> OfCalls() const;
    /// Takes note of an operation that was counted elsewhere.
    void Count(FaultOperation_T operation) { ++m_Counts[static_cast<std::size_t>(operation)]; }
    /// Takes note that a fault was played elsewhere, by its specification.
    void Strike(std::string_view specification);
    /// Has what happened elsewhere told, by the two above, before ExplainsRefusals() answers.
    void SetElsewhere(std::function<void()> tell) { m_TellElsewhere = std::move(tell); }

    /// Whether a fault came that leaves a device without what the program asked for: it may refuse what
    /// follows.
    bool ExplainsRefusals();

    /// The specifications that befell no operation so far.
    const std::vector<std::string>& Unstruck() const { return m_Unstruck; }

    /// How many operations of each sort there were, as lines "OPERATION COUNT".
    std::string Counts() const;

private:
    std::vector<Fault_T> m_Faults;
    std::vector<std::size_t> m_Counts;
    std::vector<std::string> m_Unstruck;
    bool m_ExplainsRefusals = false;
    std::function<void()> m_TellElsewhere = [] {};
};

/// Any device with the faults of a plan in front of it; both must outlive it. A write or request that a fault
/// keeps from the device does not reach it. What faults do stands in the meaning of the outcome, and every
/// outcome from the first fault on that explains refusals is marked as faulted.
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
    void Befall(FaultOperation_T operation, Befallen_T& befallen);
    void BefallBytes(FaultOperation_T operation, DeviceOutcome_T& outcome, Bytes_T& bytes, Bytes_T& previous);
    DeviceOutcome_T Marked(DeviceOutcome_T outcome);

    IDeviceModel& m_Device;
    CFaultPlan& m_Plan;
    Bytes_T m_LastReply;
    Bytes_T m_LastFill;
};
