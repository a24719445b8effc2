#pragma once

#include "simulator/faults/FaultTable.h"
#include "simulator/models/DeviceModel.h"
#include "simulator/trace/TraceText.h"

#include <chrono>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

/// Writes what happens on a unit's devices as a trace, one line for each operation; docs/trace.md describes
/// the format, TraceFile.h reads it. The text is the same on every machine.
class CTraceWriter
{
public:
    /// Writes the first lines.
    /// @param stream  must outlive the writer
    /// @param unit    name of the unit's product
    /// @param callFaults  the faults at the program's calls, which the devices do not see
    CTraceWriter(std::ostream& stream, std::string_view unit, const std::vector<Fault_T>& callFaults = {});

    /// Writes an operation.
    void Write(const DeviceOperation_T& operation);

private:
    void WriteReply(std::string_view device, std::string_view direction, const DeviceOutcome_T& outcome);
    void WriteRefusal(std::string_view device, std::string_view direction, std::string_view text);
    void Write(TraceLine_T line);

    std::ostream& m_Stream;
    std::string m_Line;                ///< room for a line
    std::chrono::nanoseconds m_Time{}; ///< for which the links carried bytes so far
};
