#pragma once

#include "simulator/faults/FaultTable.h"
#include "simulator/models/DeviceModel.h"
#include "simulator/trace/TraceEntry.h"

#include <filesystem>
#include <istream>
#include <string>
#include <vector>

/// Whether a trace was recorded on a unit.
enum class Recording {
    Unfinished, ///< it was, but something is missing at the end
    Complete,
    None
};

/// When a piece of a reply was read.
struct TraceReplyTimes_T {
    std::size_t line;   ///< of the file
    std::size_t offset; ///< of the piece in the reply
    RealTimes_T times;
};

/// A line of the file with a text.
struct TraceRemark_T {
    std::size_t line;
    std::string text;
};

/// An operation of a trace.
struct TraceOperation_T {
    std::size_t line; ///< 1-based line of the file that it begins on
    std::string device;
    DeviceOperation_T::Kind kind;
    std::uint32_t request;                 ///< of an Ioctl
    BytePattern_T bytes = {};              ///< of the program; none for Unasked
    std::vector<TracePlace_T> places = {}; ///< of the bytes, ascending
    std::optional<std::chrono::nanoseconds> time;
    DeviceOutcome_T outcome = {};                   ///< of the device, as far as a trace has it
    std::optional<RealTimes_T> realTimes = {};      ///< of the program's call, if it was recorded on a unit
    std::vector<TraceReplyTimes_T> replyTimes = {}; ///< of the reads that got the reply, in their order

    /// Line of the file with a byte; after the last byte, the line of that one.
    std::size_t LineOf(std::size_t offset) const;
};

/// The contents of a trace.
struct TraceFile_T {
    std::string name; ///< of the file, for messages
    std::string unit; ///< name of the unit's product; neither it nor the devices are checked
    std::size_t unitLine;
    std::vector<Fault_T> callFaults; ///< those that were played at the program's calls
    std::vector<TraceOperation_T> operations;
    std::size_t lastLine; ///< number of lines
    Recording recording = Recording::None;
    std::vector<TraceRemark_T> remarks = {}; ///< about a recording: the unit's driver, the command
    std::vector<TraceAccess_T> files = {};   ///< in the order in which a recorded program used them
};

/// "NAME:LINE: ", the beginning of a message about a line of a file.
std::string PlaceIn(const std::string& name, std::size_t line);

/// Reads a trace. Throws std::runtime_error "NAME:LINE: what is wrong" for the first line that is not as
/// docs/trace.md says.
TraceFile_T ReadTrace(std::istream& stream, const std::string& name);

/// Reads a trace from a file of at most 192 MiB, as ReadBounded() does.
TraceFile_T ReadTraceFile(const std::filesystem::path& file);
