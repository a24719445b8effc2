#pragma once

#include "simulator/models/DeviceModel.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

// How a trace is written. Both the simulator and the library that records on a unit use it, so it neither
// allocates nor throws.

/// The words of a trace; docs/trace.md explains them.
namespace TraceWord
{
constexpr std::string_view c_Header = "sonarbench trace 2";
constexpr std::string_view c_Unit = "unit";
constexpr std::string_view c_Fault = "fault ";
constexpr std::string_view c_About = "about ";
/// Begins the text of such a line about what the recorder did not see.
constexpr std::string_view c_Lacks = "lacks ";
constexpr std::string_view c_File = "file ";
/// By Recording; as long as each other, so that the second can replace the first in the file.
constexpr std::array<std::string_view, 2> c_Recordings = {"recording unfinished", "recording complete  "};
/// By FileAccess.
constexpr std::array<std::string_view, 5> c_FileAccesses = {"read", "write", "found", "failed", "shell"};
/// By DeviceOperation_T::Kind.
constexpr std::array<std::string_view, 4> c_Operations = {"image", "ioctl", "write", "unasked"};
constexpr std::string_view c_Fill = "fill";
constexpr std::string_view c_Reply = "reply";
constexpr std::string_view c_More = "more";
constexpr std::string_view c_Refused = "refused";
constexpr std::string_view c_Excused = "excused";
constexpr char c_Nothing[] = "-";
constexpr char c_Comment = '#';
constexpr std::size_t c_Decimals = 9; ///< of a time in seconds
constexpr std::size_t c_RequestDigits = 8;
constexpr char c_RequestEnd = '+';
constexpr char c_Error = '!';
constexpr char c_Taken = '=';
constexpr char c_Checksum = '~';
constexpr std::size_t c_ChecksumDigits = 4;
constexpr char c_Delay = '+';
constexpr std::string_view c_DelayUnit = "ms";
constexpr char c_RealTime = '@';
constexpr char c_RealTimeEnd = '-';
/// By Pace.
constexpr std::array<std::string_view, 3> c_Paces = {"", "bytewise", "slow"};
constexpr std::string_view c_Blanks = " \t\r";
} // namespace TraceWord

/// How a program used a file.
enum class FileAccess {
    Read,   ///< opened it to read; the contents are what it read until it closed the file
    Write,  ///< opened it to write
    Found,  ///< asked whether it exists, and it did
    Failed, ///< could not open it, or asked whether it exists, and it did not
    Shell   ///< a shell of the program read it
};

/// When a recorded call began and ended, since the recording began.
struct RealTimes_T {
    std::chrono::nanoseconds begin;
    std::chrono::nanoseconds end;
};

/// A line of a trace that is an entry, with all that can be in it.
struct TraceLine_T {
    std::optional<std::chrono::nanoseconds> time = {}; ///< on the links
    std::string_view device = {};
    std::string_view direction = {};
    std::optional<std::uint32_t> request = {}; ///< of an ioctl
    ByteView_T bytes = {};
    int error = 0;
    std::optional<std::size_t> taken = {};
    bool isSent = false; ///< the device sent the bytes, so that they have a checksum
    std::chrono::milliseconds delay{};
    Pace pace = Pace::AtOnce;
    std::optional<RealTimes_T> times = {};
    std::string_view meaning = {};
};

/// Checksum of what a device sent: the 16-bit CRC of ISO/IEC 3309. Every change within two neighbouring bytes
/// changes it.
std::uint16_t TraceChecksum(ByteView_T bytes);

/// Bytes that a line needs at most, with its end.
std::size_t RoomFor(const TraceLine_T& line);

/// Writes a line with its end; returns the place after it. There must be room for it.
char* PutLine(char* pOut, const TraceLine_T& line);
/// Writes time, device and direction, with a blank after each.
char* PutBeginning(char* pOut, const TraceLine_T& line);

/// How a file was used.
struct TraceFileLine_T {
    FileAccess access;
    std::string_view path;
    int error = 0;         ///< of a Failed
    ByteView_T contents{}; ///< of a Read or Shell
};

/// The same for such a line.
std::size_t RoomFor(const TraceFileLine_T& line);
char* PutLine(char* pOut, const TraceFileLine_T& line);

/// Writes "~1a2b"; returns the place after it.
char* PutChecksum(char* pOut, ByteView_T bytes);
