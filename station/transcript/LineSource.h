#pragma once

#include <QIODevice>

#include <cstdint>
#include <string>
#include <string_view>

/// A line as it was read.
struct ReadLine_T {
    std::uint64_t number = 0; ///< from 1
    std::string_view text;    ///< without its end, LF or CR LF; valid until the next line is read
    bool isWhole = true;      ///< false: the line was longer, and its rest is lost
};

/// Where the lines of a transcript come from.
class ILineSource
{
public:
    /// Longer than the block of 1,048,560 samples of five digits.
    static constexpr std::size_t c_LongestLine = std::size_t{8} * 1024 * 1024;

    ILineSource() = default;
    ILineSource(const ILineSource&) = delete;
    ILineSource& operator=(const ILineSource&) = delete;
    virtual ~ILineSource() = default;

    /// Reads the next line; false at the end, and when reading fails.
    virtual bool Next(ReadLine_T& line) = 0;
    /// Why reading failed; empty: it did not.
    virtual std::string Failure() const = 0;
};

/// The lines of a device, in bounded memory.
class CDeviceLines : public ILineSource
{
public:
    /// @param device  open for reading, without text mode; it must outlive this
    explicit CDeviceLines(QIODevice& device) : m_Device(device) {}

    bool Next(ReadLine_T& line) override;
    std::string Failure() const override;

private:
    bool Fill();
    void Append(std::string_view piece);

    QIODevice& m_Device;
    std::string m_Chunk; ///< what was read last
    std::size_t m_Used = 0;
    std::string m_Line; ///< a line that began in an earlier chunk
    bool m_IsCut = false;
    std::uint64_t m_Number = 0;
    bool m_HasFailed = false;
};
