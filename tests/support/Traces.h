#pragma once

#include "simulator/trace/Replay.h"
#include "simulator/trace/TraceWriter.h"

#include <sstream>

inline TraceFile_T ReadTraceText(const std::string& text)
{
    std::istringstream stream(text);
    return ReadTrace(stream, "file");
}

inline std::string TraceText(const TraceFile_T& trace)
{
    std::ostringstream text;
    CTraceWriter writer(text, trace.unit, trace.callFaults);
    for (const TraceOperation_T& operation : trace.operations) {
        writer.Write(
            {operation.device, operation.kind, operation.request, operation.bytes.values, operation.outcome});
    }
    return text.str();
}

/// Does the operations of a trace with another one as the device. Returns the first difference.
inline std::string Replayed(const TraceFile_T& done, CReplay& device)
{
    for (const TraceOperation_T& operation : done.operations) {
        if (operation.kind == DeviceOperation_T::Kind::Unasked) {
            device.AnswerUnasked(operation.device);
        } else {
            device.Answer(operation.device, operation.kind, operation.request, operation.bytes.values);
        }
    }
    return device.Finish();
}
