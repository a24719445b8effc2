#include "simulator/Trace.h"

#include "simulator/WireBytes.h"

#include <array>
#include <cstring>
#include <string>

namespace
{

constexpr std::string_view c_Header = "sonarbench trace 1";

/// Names of DeviceOperation_T::Kind, in its order; what comes unasked has no line before its reply.
constexpr std::array<std::string_view, 3> c_Directions = {"image", "ioctl", "write"};

std::string HexBytes(ByteView_T bytes)
{
    constexpr std::string_view c_Digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::uint8_t byte : bytes) {
        text += c_Digits[byte >> 4];
        text += c_Digits[byte & 0xF];
    }
    return text.empty() ? "-" : text;
}

std::string TimeText(std::chrono::nanoseconds time)
{
    constexpr std::size_t c_Decimals = 9;
    std::string text = std::to_string(time.count());
    if (text.size() <= c_Decimals) {
        text.insert(0, c_Decimals + 1 - text.size(), '0');
    }
    return text.insert(text.size() - c_Decimals, ".");
}

} // namespace

CTraceWriter::CTraceWriter(std::ostream& stream) : m_Stream(stream) { m_Stream << c_Header << '\n'; }

void CTraceWriter::Write(const DeviceOperation_T& operation)
{
    const DeviceOutcome_T& outcome = operation.outcome;
    const bool isIoctl = operation.kind == DeviceOperation_T::Kind::Ioctl;
    const std::string request =
        isIoctl ? HexText(static_cast<std::uint32_t>(operation.request), 8).substr(2) + "+" : std::string();
    const bool isUnasked = operation.kind == DeviceOperation_T::Kind::Unasked;
    if (!isUnasked) {
        Line(operation.device, c_Directions[static_cast<std::size_t>(operation.kind)], operation.bytes,
             request, outcome.error, outcome.meaning);
    }
    if (!outcome.fill.empty()) {
        Line(operation.device, "fill", outcome.fill, {}, 0, outcome.replyMeaning);
    }
    if (!outcome.reply.empty() || isUnasked) {
        Line(operation.device, "reply", outcome.reply, {}, 0, outcome.replyMeaning);
    }
    for (const std::string& refusal : outcome.refusals) {
        Begin(operation.device, "refused") << refusal << '\n';
    }
    m_Time += outcome.linkTime;
}

void CTraceWriter::Line(std::string_view device, std::string_view direction, ByteView_T bytes,
                        std::string_view before, int error, std::string_view meaning)
{
    Begin(device, direction) << bytes.size() << ' ' << before << HexBytes(bytes);
    if (error != 0) {
        const char* const pName = ::strerrorname_np(error);
        m_Stream << " !" << (pName != nullptr ? pName : std::to_string(error).c_str());
    }
    m_Stream << " # " << meaning << '\n';
}

std::ostream& CTraceWriter::Begin(std::string_view device, std::string_view direction)
{
    return m_Stream << TimeText(m_Time) << ' ' << device << ' ' << direction << ' ';
}
