#include "simulator/trace/TraceWriter.h"

#include "simulator/ValueText.h"
#include "simulator/trace/TraceEntry.h"

#include <string>

namespace
{

std::string HexBytes(ByteView_T bytes)
{
    constexpr std::string_view c_Digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::uint8_t byte : bytes) {
        text += c_Digits[byte >> 4];
        text += c_Digits[byte & 0xF];
    }
    return text.empty() ? TraceWord::c_Nothing : text;
}

std::string TimeText(std::chrono::nanoseconds time)
{
    std::string text = std::to_string(time.count());
    if (text.size() <= TraceWord::c_Decimals) {
        text.insert(0, TraceWord::c_Decimals + 1 - text.size(), '0');
    }
    return text.insert(text.size() - TraceWord::c_Decimals, ".");
}

std::string MeaningText(std::string_view meaning)
{
    return (meaning.empty() ? "" : " # ") + std::string(meaning) + "\n";
}

/// A request as eight digits and the sign before its argument.
std::string RequestText(unsigned long request)
{
    return HexText(static_cast<std::uint32_t>(request), TraceWord::c_RequestDigits).substr(2) +
           TraceWord::c_RequestEnd;
}

std::string SentText(ByteView_T bytes)
{
    return std::to_string(bytes.size()) + " " + HexBytes(bytes) + " " + ChecksumText(bytes);
}

std::string ReplyText(const DeviceOutcome_T& outcome)
{
    std::string text = SentText(outcome.reply);
    if (outcome.replyDelay.count() != 0) {
        text += " " + (TraceWord::c_Delay + std::to_string(outcome.replyDelay.count())) +
                std::string(TraceWord::c_DelayUnit);
    }
    if (outcome.pace != Pace::AtOnce) {
        text.append(" ").append(TraceWord::c_Paces[static_cast<std::size_t>(outcome.pace)]);
    }
    return text + MeaningText(outcome.replyMeaning);
}

} // namespace

CTraceWriter::CTraceWriter(std::ostream& stream, std::string_view unit,
                           const std::vector<Fault_T>& callFaults)
    : m_Stream(stream)
{
    m_Stream << TraceWord::c_Header << '\n' << TraceWord::c_Unit << ' ' << unit << '\n';
    for (const Fault_T& fault : callFaults) {
        m_Stream << TraceWord::c_Fault << fault.specification << '\n';
    }
}

void CTraceWriter::Write(const DeviceOperation_T& operation)
{
    using Kind = DeviceOperation_T::Kind;
    const DeviceOutcome_T& outcome = operation.outcome;
    const ByteView_T bytes = operation.bytes;
    std::ostream& line =
        Begin(operation.device, TraceWord::c_Operations[static_cast<std::size_t>(operation.kind)]);
    if (operation.kind == Kind::Unasked) {
        line << ReplyText(outcome);
    } else {
        line << bytes.size() << ' ' << (operation.kind == Kind::Ioctl ? RequestText(operation.request) : "")
             << HexBytes(bytes);
        if (outcome.error != 0) {
            line << ' ' << TraceWord::c_Error << ErrorName(outcome.error);
        }
        if (outcome.taken) {
            line << ' ' << TraceWord::c_Taken << *outcome.taken;
        }
        line << MeaningText(outcome.meaning);
        if (!outcome.fill.empty()) {
            Begin(operation.device, TraceWord::c_Fill)
                << SentText(outcome.fill) << MeaningText(outcome.replyMeaning);
        }
        if (!outcome.reply.empty()) {
            Begin(operation.device, TraceWord::c_Reply) << ReplyText(outcome);
        }
    }
    for (const std::string& refusal : outcome.refusals) {
        Begin(operation.device, outcome.faulted ? TraceWord::c_Excused : TraceWord::c_Refused)
            << refusal << '\n';
    }
    m_Time += outcome.linkTime;
}

std::ostream& CTraceWriter::Begin(std::string_view device, std::string_view direction)
{
    return m_Stream << TimeText(m_Time) << ' ' << device << ' ' << direction << ' ';
}
