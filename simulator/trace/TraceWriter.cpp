#include "simulator/trace/TraceWriter.h"

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
    const DeviceOutcome_T& outcome = operation.outcome;
    const std::string_view direction = TraceWord::c_Operations[static_cast<std::size_t>(operation.kind)];
    if (operation.kind == DeviceOperation_T::Kind::Unasked) {
        WriteReply(operation.device, direction, outcome);
    } else {
        TraceLine_T line{.device = operation.device,
                         .direction = direction,
                         .bytes = operation.bytes,
                         .error = outcome.error,
                         .taken = outcome.taken,
                         .meaning = outcome.meaning};
        if (operation.kind == DeviceOperation_T::Kind::Ioctl) {
            line.request = static_cast<std::uint32_t>(operation.request);
        }
        Write(line);
        if (!outcome.fill.empty()) {
            Write({.device = operation.device,
                   .direction = TraceWord::c_Fill,
                   .bytes = outcome.fill,
                   .isSent = true,
                   .meaning = outcome.replyMeaning});
        }
        if (!outcome.reply.empty()) {
            WriteReply(operation.device, TraceWord::c_Reply, outcome);
        }
    }
    for (const std::string& refusal : outcome.refusals) {
        WriteRefusal(operation.device, outcome.faulted ? TraceWord::c_Excused : TraceWord::c_Refused,
                     refusal);
    }
    m_Time += outcome.linkTime;
}

/// Writes a reply, with a line for each of its pieces.
void CTraceWriter::WriteReply(std::string_view device, std::string_view direction,
                              const DeviceOutcome_T& outcome)
{
    const ByteView_T reply = outcome.reply;
    TraceLine_T line{.device = device,
                     .direction = direction,
                     .isSent = true,
                     .delay = outcome.replyDelay,
                     .pace = outcome.pace,
                     .meaning = outcome.replyMeaning};
    std::size_t begin = 0;
    for (const ReplyPiece_T& piece : outcome.morePieces) {
        line.bytes = reply.subspan(begin, piece.offset - begin);
        Write(line);
        begin = piece.offset;
        line = {.device = device, .direction = TraceWord::c_More, .isSent = true, .delay = piece.delay};
    }
    line.bytes = reply.subspan(begin);
    Write(line);
}

void CTraceWriter::WriteRefusal(std::string_view device, std::string_view direction, std::string_view text)
{
    const TraceLine_T line{.time = m_Time, .device = device, .direction = direction};
    m_Line.resize(RoomFor(line));
    m_Stream.write(m_Line.data(), PutBeginning(m_Line.data(), line) - m_Line.data()) << text << '\n';
}

void CTraceWriter::Write(TraceLine_T line)
{
    line.time = m_Time;
    m_Line.resize(RoomFor(line));
    m_Stream.write(m_Line.data(), PutLine(m_Line.data(), line) - m_Line.data());
}
