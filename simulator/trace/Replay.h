#pragma once

#include "simulator/trace/TraceFile.h"

/// A trace that answers instead of a unit's devices, in the order of its operations over all devices. From
/// the first operation on that differs from the trace, everything fails with EIO.
class CReplay
{
public:
    /// @param trace  must outlive the replay
    explicit CReplay(const TraceFile_T& trace) : m_Trace(trace) {}
    explicit CReplay(TraceFile_T&&) = delete;

    /// The outcome of the trace's next operation, if it is this one.
    DeviceOutcome_T Answer(const std::string& device, DeviceOperation_T::Kind kind, unsigned long request,
                           ByteView_T bytes);
    /// What the device sends now without being asked, according to the trace.
    std::optional<DeviceOutcome_T> AnswerUnasked(const std::string& device);

    /// Call it when no more operations come. Operations that are left over are a difference, too.
    /// @return the first difference in one line "FILE:LINE: ...", empty when there is none
    std::string Finish();

private:
    void Differ(std::size_t line, const std::string& what);
    /// Whether the bytes are those of the operation; if not, keeps the first difference.
    bool Compare(const TraceOperation_T& operation, ByteView_T bytes);

    const TraceFile_T& m_Trace;
    std::size_t m_Next = 0; ///< index of the operation that is expected
    std::string m_Difference;
};

/// A device of a unit that is replayed.
class CReplayDevice final : public IDeviceModel
{
public:
    /// @param replay  must outlive the device
    /// @param node    name of the node below /dev
    /// @param model   the product's own device, which must outlive this one. It says what kind of node this
    /// is,
    ///                and gets every operation that reached the recorded device, so that it has the settings
    ///                of that one. Its answers are not used, but what it says about them is.
    CReplayDevice(CReplay& replay, std::string node, IDeviceModel& model)
        : m_Replay(replay), m_Node(std::move(node)), m_Model(model)
    {
    }

    DeviceOutcome_T Write(ByteView_T bytes) override;
    std::size_t IoctlArgumentSize(unsigned long request) const override;
    DeviceOutcome_T Ioctl(unsigned long request, ByteView_T argument) override;
    DeviceOutcome_T TakeImage(ByteView_T bytes) override;
    std::optional<DeviceOutcome_T> TakeUnasked() override;
    bool IsSerialLine() const override { return m_Model.IsSerialLine(); }
    void SetLine(const termios& settings) override { m_Model.SetLine(settings); }

private:
    CReplay& m_Replay;
    const std::string m_Node;
    IDeviceModel& m_Model;
};
