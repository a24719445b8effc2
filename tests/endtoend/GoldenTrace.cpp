#include "tests/endtoend/GoldenTrace.h"

#include "simulator/trace/Replay.h"

#include <utility>

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
