#pragma once

#include "simulator/faults/FaultTable.h"
#include "simulator/models/DeviceModel.h"

#include <chrono>
#include <ostream>
#include <string_view>
#include <vector>

/// Writes what happens on a unit's devices as text, the same on every machine: a trace as docs/trace.md
/// describes it, a line for each operation. TraceFile.h reads it again.
class CTraceWriter
{
public:
    /// Writes the first lines.
    /// @param stream  must outlive the writer
    /// @param unit    name of the unit's product
    /// @param callFaults  the faults that are played at the program's calls, of which the devices see nothing
    CTraceWriter(std::ostream& stream, std::string_view unit, const std::vector<Fault_T>& callFaults = {});

    /// Writes an operation.
    void Write(const DeviceOperation_T& operation);

private:
    std::ostream& Begin(std::string_view device, std::string_view direction);

    std::ostream& m_Stream;
    std::chrono::nanoseconds m_Time{}; ///< that the links carried bytes so far
};
