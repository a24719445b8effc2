#pragma once

#include <QIODevice>

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

    /// @param device  open for reading, without text mode; it must outlive this
    explicit CLineSource(QIODevice& device) : m_Device(device) {}

    /// Reads the next line; false at the end, and when reading fails.
    bool Next(ReadLine_T& line);
    /// Why reading failed; empty: it did not.
    std::string Failure() const;
    /// Bytes of the lines so far, with their ends.
    std::uint64_t Taken() const { return m_Taken; }
    /// Bytes of all lines; nothing if the device does not say.
    std::optional<std::uint64_t> Size() const;

private:
    bool Fill();
    void Append(std::string_view piece);

    QIODevice& m_Device;
    std::string m_Chunk; ///< what was read last
    std::size_t m_Used = 0;
    std::string m_Line; ///< a line that began in an earlier chunk
    bool m_IsCut = false;
    std::uint64_t m_Number = 0;
    std::uint64_t m_Taken = 0;
    bool m_HasFailed = false;
};
