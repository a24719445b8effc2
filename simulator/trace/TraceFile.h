#pragma once

#include "simulator/faults/FaultTable.h"
#include "simulator/models/DeviceModel.h"
#include "simulator/trace/TraceEntry.h"

#include <filesystem>
#include <istream>
#include <string>
#include <vector>

/// An operation of a trace.
struct TraceOperation_T {
    std::size_t line; ///< 1-based line of the file that it begins on
    std::string device;
    DeviceOperation_T::Kind kind;
    std::uint32_t request;                 ///< of an Ioctl
    BytePattern_T bytes = {};              ///< of the program; none for Unasked
    std::vector<TracePlace_T> places = {}; ///< of the bytes, ascending
    std::optional<std::chrono::nanoseconds> time;
    DeviceOutcome_T outcome = {}; ///< of the device, all that a trace holds of it

    /// Line of the file that a byte is on; beyond the last byte, the line of the last one.
    std::size_t LineOf(std::size_t offset) const;
};

/// A trace as it was read.
struct TraceFile_T {
    std::string name; ///< of the file, for messages
    std::string unit; ///< name of the unit's product; not checked, nor are those of the devices
    std::size_t unitLine;
    std::vector<Fault_T> callFaults; ///< those that were played at the program's calls
    std::vector<TraceOperation_T> operations;
    std::size_t lastLine; ///< number of lines
};

/// "NAME:LINE: ", the beginning of a message about a line of a file.
std::string PlaceIn(const std::string& name, std::size_t line);

/// Reads a trace. Throws std::runtime_error "NAME:LINE: what is wrong" for the first line that is not as
/// docs/trace.md says.
TraceFile_T ReadTrace(std::istream& stream, const std::string& name);

/// Reads a trace from a file. One that cannot be read is such an error, too, with its name alone.
TraceFile_T ReadTraceFile(const std::filesystem::path& file);
