#include "tests/endtoend/GoldenTrace.h"

#include "simulator/Replay.h"

#include <gtest/gtest.h>
#include <sstream>

void ExpectGolden(const UnitRun_T& run, const std::string& path)
{
    CReplay golden(ReadTraceFile(SONARBENCH_SOURCE "/" + path));
    std::istringstream text(run.traceText);
    for (const TraceOperation_T& operation : ReadTrace(text, "trace of the run").operations) {
        Bytes_T bytes;
        for (const auto& byte : operation.bytes) {
            bytes.push_back(byte.value());
        }
        if (operation.kind == DeviceOperation_T::Kind::Unasked) {
            golden.AnswerUnasked(operation.device);
        } else {
            golden.Answer(operation.device, operation.kind, operation.request, bytes);
        }
    }
    EXPECT_EQ(golden.Finish(), "");
}

std::vector<std::string> CallsOf(const Trace_T& trace)
{
    std::vector<std::string> calls;
    for (const TraceLine_T& line : trace) {
        if (line.direction == "ioctl" || line.direction == "write") {
            calls.push_back(line.direction + " " + line.bytes);
        }
    }
    return calls;
}
