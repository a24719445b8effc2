#include "station/transcript/LineSource.h"

#include <algorithm>

bool CLineSource::Fill()
{
    constexpr qint64 chunkSize = qint64{256} * 1024;
    // A small file is read into little memory; one byte more shows its end.
    const qint64 left = m_Device.isSequential() ? chunkSize : m_Device.size() - m_Device.pos() + 1;
    m_Chunk.resize(static_cast<std::size_t>(std::clamp<qint64>(left, 4096, chunkSize)));
    m_Used = 0;
    const qint64 got = m_Device.read(m_Chunk.data(), static_cast<qint64>(m_Chunk.size()));
    m_HasFailed = got < 0;
    m_Chunk.resize(static_cast<std::size_t>(std::max<qint64>(got, 0)));
    return !m_Chunk.empty();
}

void CLineSource::Append(std::string_view piece)
{
    const std::size_t room = c_LongestLine - m_Line.size();
    m_IsCut = m_IsCut || piece.size() > room;
    m_Line.append(piece.substr(0, room));
}

bool CLineSource::Next(ReadLine_T& line)
{
    m_Line.clear();
    m_IsCut = false;
    bool isBegun = false;
    for (;;) {
        if (m_Used == m_Chunk.size() && !Fill()) {
            line.text = m_Line;
            break;
        }
        const std::string_view rest = std::string_view(m_Chunk).substr(m_Used);
        const std::size_t end = rest.find('\n');
        const std::string_view piece = rest.substr(0, end);
        const std::size_t taken = end == std::string_view::npos ? piece.size() : end + 1;
        m_Used += taken;
        m_Taken += taken;
        if (end != std::string_view::npos && !isBegun) {
            line.text = piece; // without a copy
            isBegun = true;
            break;
        }
        Append(piece);
        isBegun = true;
        if (end != std::string_view::npos) {
            line.text = m_Line;
            break;
        }
    }
    if (line.text.ends_with('\r')) {
        line.text.remove_suffix(1);
    }
    line.isWhole = !m_IsCut;
    line.number = isBegun ? ++m_Number : m_Number;
    return isBegun;
}

std::string CLineSource::Failure() const
{
    return m_HasFailed ? m_Device.errorString().toStdString() : std::string();
}

std::optional<std::uint64_t> CLineSource::Size() const
{
    return m_Device.isSequential() || m_Device.size() == 0
               ? std::nullopt
               : std::optional(static_cast<std::uint64_t>(m_Device.size()));
}
