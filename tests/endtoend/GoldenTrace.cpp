#include "tests/endtoend/GoldenTrace.h"

#include "simulator/Replay.h"

#include <gtest/gtest.h>
#include <sstream>

std::string DifferenceOf(const TraceFile_T& done, TraceFile_T device)
{
    CReplay replay(std::move(device));
    for (const TraceOperation_T& operation : done.operations) {
        Bytes_T bytes;
        for (const auto& byte : operation.bytes) {
            bytes.push_back(byte.value_or(0));
        }
        if (operation.kind == DeviceOperation_T::Kind::Unasked) {
            replay.AnswerUnasked(operation.device);
        } else {
            replay.Answer(operation.device, operation.kind, operation.request, bytes);
        }
    }
    return replay.Finish();
}

void ExpectGolden(const UnitRun_T& run, const std::string& path)
{
    std::istringstream text(run.traceText);
    EXPECT_EQ(DifferenceOf(ReadTrace(text, "trace of the run"), ReadTraceFile(SONARBENCH_SOURCE "/" + path)),
              "");
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
