#pragma once

#include "station/transcript/ByteSource.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// A line as it was read.
struct ReadLine_T {
    std::uint64_t number = 0; ///< from 1
    std::string_view text;    ///< without its end, LF or CR LF; valid until the next line is read
    bool isWhole = true;      ///< false: the line was longer, and its rest is lost
};

/// The lines of a transcript, in bounded memory.
class CLineSource
{
public:
    /// Longer than the block of 1,048,560 samples of five digits.
    static constexpr std::size_t c_LongestLine = std::size_t{8} * 1024 * 1024;

    /// @param bytes  must outlive this
    explicit CLineSource(IByteSource& bytes) : m_Bytes(bytes) {}

    /// Reads the next line; false at the end, and when reading fails. A UTF-8 byte order mark at the
    /// beginning is skipped.
    bool Next(ReadLine_T& line);
    /// Why reading failed; empty: it did not.
    const std::string& Failure() const { return m_Bytes.Failure(); }
    /// Bytes of the lines so far, with their ends.
    std::uint64_t Taken() const { return m_Taken; }
    /// Bytes of all lines; nothing if the source does not say.
    std::optional<std::uint64_t> Size() const { return m_Bytes.Size(); }

private:
    bool Fill();
    void Append(std::string_view piece);

    IByteSource& m_Bytes;
    std::string m_Room;       ///< for what was read last
    std::string_view m_Chunk; ///< what was read last
    std::size_t m_Used = 0;
    std::string m_Line; ///< a line that began in an earlier chunk
    bool m_IsCut = false;
    std::uint64_t m_Number = 0;
    std::uint64_t m_Taken = 0;
};
