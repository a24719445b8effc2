#include "simulator/trace/Replay.h"

#include "simulator/ValueText.h"

#include <algorithm>
#include <cerrno>

namespace
{
using Kind = DeviceOperation_T::Kind;

/// "ioctl 0x80047205 with 20 bytes on LSfpga0"
std::string Text(const std::string& device, Kind kind, unsigned long request, std::size_t count)
{
    std::string text(TraceWord::c_Operations[static_cast<std::size_t>(kind)]);
    if (kind == Kind::Ioctl) {
        text += " " + HexText(static_cast<std::uint32_t>(request), TraceWord::c_RequestDigits);
    }
    return text + (kind == Kind::Ioctl ? " with " : " of ") + ByteCount(count) + " on " + device;
}

std::string Text(const TraceOperation_T& operation)
{
    return Text(operation.device, operation.kind, operation.request,
                operation.kind == Kind::Unasked ? operation.outcome.reply.size()
                                                : operation.bytes.values.size());
}

/// Whether the recorded device got the operation: no fault kept it away.
bool HasArrived(const DeviceOutcome_T& outcome)
{
    return outcome.error == 0 && outcome.taken.value_or(1) != 0 &&
           outcome.meaning.find("=lying") == std::string::npos;
}
/// Adds what a recording on a unit cannot know: what the bytes mean, and the time that they need on the link.
void Explain(DeviceOutcome_T& outcome, const DeviceOutcome_T& ofModel)
{
    if (outcome.meaning.empty() && outcome.replyMeaning.empty() && outcome.linkTime.count() == 0) {
        outcome.meaning = ofModel.meaning;
        outcome.replyMeaning = ofModel.replyMeaning;
        outcome.linkTime = ofModel.linkTime;
    }
}
} // namespace

DeviceOutcome_T CReplay::Answer(const std::string& device, Kind kind, unsigned long request, ByteView_T bytes)
{
    if (m_Difference.empty()) {
        const std::string came = Text(device, kind, request, bytes.size());
        if (m_Next == m_Trace.operations.size()) {
            Differ(m_Trace.lastLine, "expected the end, got " + came);
        } else {
            const TraceOperation_T& operation = m_Trace.operations[m_Next];
            const bool isSame = operation.device == device && operation.kind == kind &&
                                operation.request == static_cast<std::uint32_t>(request);
            if (!isSame) {
                Differ(operation.line, "expected " + Text(operation) + ", got " + came);
            } else if (Compare(operation, bytes)) {
                ++m_Next;
                return operation.outcome;
            }
        }
    }
    return {.error = EIO, .meaning = "departs from the replayed trace"};
}

bool CReplay::Compare(const TraceOperation_T& operation, ByteView_T bytes)
{
    const std::optional<std::size_t> offset = operation.bytes.DifferenceFrom(bytes);
    if (!offset) {
        return true;
    }
    const auto& [values, isOpen] = operation.bytes;
    const std::string expected = *offset == values.size() ? "the end"
                                 : isOpen[*offset]        ? "a byte"
                                                          : HexText(values[*offset], 2);
    Differ(operation.LineOf(*offset), Text(operation) + ", byte " + std::to_string(*offset) + ": expected " +
                                          expected + ", got " +
                                          (*offset == bytes.size() ? "the end" : HexText(bytes[*offset], 2)));
    return false;
}

std::optional<DeviceOutcome_T> CReplay::AnswerUnasked(const std::string& device)
{
    if (!m_Difference.empty() || m_Next == m_Trace.operations.size()) {
        return std::nullopt;
    }
    const TraceOperation_T& operation = m_Trace.operations[m_Next];
    if (operation.kind != Kind::Unasked || operation.device != device) {
        return std::nullopt;
    }
    ++m_Next;
    return operation.outcome;
}

std::string CReplay::Finish()
{
    if (m_Difference.empty() && m_Next < m_Trace.operations.size()) {
        const TraceOperation_T& operation = m_Trace.operations[m_Next];
        Differ(operation.line, "expected " + Text(operation) + ", got the end; operations left over: " +
                                   std::to_string(m_Trace.operations.size() - m_Next));
    }
    return m_Difference;
}

void CReplay::Differ(std::size_t line, const std::string& what)
{
    m_Difference = PlaceIn(m_Trace.name, line) + "operation " + std::to_string(m_Next + 1) + ": " + what;
}

DeviceOutcome_T CReplayDevice::Write(ByteView_T bytes)
{
    DeviceOutcome_T outcome = m_Replay.Answer(m_Node, Kind::Write, 0, bytes);
    if (HasArrived(outcome)) {
        Explain(outcome,
                m_Model.Write(bytes.first(std::min(outcome.taken.value_or(bytes.size()), bytes.size()))));
    }
    return outcome;
}

std::size_t CReplayDevice::IoctlArgumentSize(unsigned long request) const
{
    return m_Model.IoctlArgumentSize(request);
}

DeviceOutcome_T CReplayDevice::Ioctl(unsigned long request, ByteView_T argument)
{
    DeviceOutcome_T outcome = m_Replay.Answer(m_Node, Kind::Ioctl, request, argument);
    if (HasArrived(outcome)) {
        Explain(outcome, m_Model.Ioctl(request, argument));
    }
    return outcome;
}

DeviceOutcome_T CReplayDevice::TakeImage(ByteView_T bytes)
{
    const DeviceOutcome_T ofModel = m_Model.TakeImage(bytes);
    DeviceOutcome_T outcome = m_Replay.Answer(m_Node, Kind::Image, 0, bytes);
    Explain(outcome, ofModel);
    return outcome;
}

std::optional<DeviceOutcome_T> CReplayDevice::TakeUnasked()
{
    std::optional<DeviceOutcome_T> outcome = m_Replay.AnswerUnasked(m_Node);
    const std::optional<DeviceOutcome_T> ofModel = m_Model.TakeUnasked();
    if (outcome && ofModel) {
        Explain(*outcome, *ofModel);
    }
    return outcome;
}
