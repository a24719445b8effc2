// Traces of arbitrary bytes: each is refused with a message, or can be written, read again and replayed.

#include "fuzz/FuzzInput.h"
#include "simulator/trace/Replay.h"
#include "simulator/trace/TraceWriter.h"

#include <numeric>
#include <sstream>

namespace
{
using Kind = DeviceOperation_T::Kind;

TraceFile_T Read(const std::string& text)
{
    std::istringstream stream(text);
    return ReadTrace(stream, "t");
}

std::string Written(const TraceFile_T& trace)
{
    std::ostringstream text;
    CTraceWriter writer(text, trace.unit, trace.callFaults);
    for (const TraceOperation_T& operation : trace.operations) {
        writer.Write(
            {operation.device, operation.kind, operation.request, operation.bytes.values, operation.outcome});
    }
    return text.str();
}

void CheckReplay(const TraceFile_T& trace)
{
    CReplay replay(trace);
    for (const TraceOperation_T& operation : trace.operations) {
        if (operation.kind == Kind::Unasked) {
            replay.AnswerUnasked(operation.device);
        } else {
            replay.Answer(operation.device, operation.kind, operation.request, operation.bytes.values);
        }
    }
    Require(replay.Finish().empty(), "a trace agrees with itself");
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    TraceFile_T trace;
    try {
        trace = Read({pData, pData + size});
    } catch (const std::runtime_error& error) {
        RequireMessage(error.what());
        return 0;
    }
    CheckReplay(trace);
    const std::size_t bytes =
        std::accumulate(trace.operations.begin(), trace.operations.end(), std::size_t{0},
                        [](std::size_t sum, const TraceOperation_T& operation) {
                            return sum + operation.bytes.values.size() + operation.outcome.reply.size();
                        });
    constexpr std::size_t c_MostWritten = 100'000; // a repeat adds more than this writes in good time
    if (bytes <= c_MostWritten) {
        const std::string written = Written(trace);
        Require(Written(Read(written)) == written, "what is written is read as it was");
    }
    return 0;
}
