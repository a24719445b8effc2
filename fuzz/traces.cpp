// Traces of arbitrary bytes: each is refused with a message, or can be written, read again and replayed.

#include "tests/support/Traces.h"
#include "fuzz/FuzzInput.h"

#include <numeric>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    TraceFile_T trace;
    try {
        trace = ReadTraceText({pData, pData + size});
    } catch (const std::runtime_error& error) {
        RequireMessage(error.what());
        return 0;
    }
    CReplay replay(trace);
    Require(Replayed(trace, replay).empty(), "a trace agrees with itself");
    const std::size_t bytes =
        std::accumulate(trace.operations.begin(), trace.operations.end(), std::size_t{0},
                        [](std::size_t sum, const TraceOperation_T& operation) {
                            return sum + operation.bytes.values.size() + operation.outcome.reply.size();
                        });
    constexpr std::size_t c_MostWritten = 100'000; // a repeat adds more than this writes in good time
    if (bytes <= c_MostWritten) {
        const std::string written = TraceText(trace);
        Require(TraceText(ReadTraceText(written)) == written, "what is written is read as it was");
    }
    return 0;
}
