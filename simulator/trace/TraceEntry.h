#pragma once

#include "simulator/trace/TraceText.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Bytes, some of which can have any value.
struct BytePattern_T {
    Bytes_T values = {};           ///< 0 where a byte can have any value
    std::vector<bool> isOpen = {}; ///< for each byte, whether it can have any value

    /// Offset of the first byte that differs or is missing on one side; none when there is no difference.
    std::optional<std::size_t> DifferenceFrom(ByteView_T bytes) const;
};

/// The line of the file for the bytes from an offset to that of the next place.
struct TracePlace_T {
    std::size_t offset;
    std::size_t line;
};

/// One entry of a trace: a line with the lines that continue it.
struct TraceEntry_T {
    std::size_t number = 0; ///< 1-based, of its first line
    std::optional<std::chrono::nanoseconds> time{};
    std::string device{};
    std::string direction{};
    std::optional<std::size_t> count{};
    std::optional<std::uint32_t> request{};
    BytePattern_T bytes{};
    std::vector<TracePlace_T> places{};
    int error = 0;
    std::optional<std::size_t> taken{};
    std::string checksum{}; ///< expected of its bytes, in the form of ChecksumText(); empty: not given
    std::chrono::milliseconds delay{};
    Pace pace = Pace::AtOnce;
    std::optional<RealTimes_T> times{};
    std::string text{}; ///< the meaning, or why something was refused

    bool IsRefusal() const { return direction == TraceWord::c_Refused || direction == TraceWord::c_Excused; }
};

/// "~1a2b", the checksum of what a device sent.
std::string ChecksumText(ByteView_T bytes);

/// Throws std::runtime_error if a checksum is given and is not that of the bytes.
void CheckChecksum(std::string_view checksum, ByteView_T bytes);

/// How many bytes repeats such as 00*1372 may still add. Otherwise a few characters could ask for all memory.
using RepeatBudget_T = std::size_t;
constexpr RepeatBudget_T c_MostRepeats = RepeatBudget_T{16} << 20; ///< of a file

/// Takes the first word off a text, with the blanks before it; empty at the end of the text.
std::string_view TakeTraceField(std::string_view& text);

/// The name of a unit or device in a trace. Throws std::runtime_error for other texts, so that messages can
/// show names as they are.
std::string TraceNameIn(std::string_view text);

/// Refuses a trace for this reason.
[[noreturn]] void Refuse(const std::string& what);

/// A file of the unit, or one that an argument named, as a recorded program found it.
struct TraceAccess_T {
    std::size_t line; ///< of the trace
    FileAccess access;
    std::string path;
    int error = 0;         ///< of a Failed
    Bytes_T contents = {}; ///< of a Read or Shell
};

/// Reads the rest of a line after the word "file". Throws as BeginTraceEntry().
TraceAccess_T ReadTraceAccess(std::string_view text, std::size_t number, RepeatBudget_T& budget);

/// Reads the first line of an entry; the caller checks the direction. Throws std::runtime_error, which says
/// what is wrong, for any other line.
TraceEntry_T BeginTraceEntry(std::string_view text, std::size_t number, RepeatBudget_T& budget);

/// Adds the line with this number, which continues the entry. Throws in the same way.
void ContinueTraceEntry(TraceEntry_T& entry, std::string_view text, std::size_t number,
                        RepeatBudget_T& budget);
