#include "station/transcript/LineSource.h"

#include <algorithm>

namespace
{
constexpr std::size_t c_SmallestChunk = 4096;
constexpr std::size_t c_ChunkSize = std::size_t{256} * 1024;
constexpr std::string_view c_ByteOrderMark = "\xef\xbb\xbf";
} // namespace

bool CLineSource::Fill()
{
    if (m_Room.empty()) { // a small file is read into little memory
        const std::uint64_t size = m_Bytes.Size().value_or(c_ChunkSize);
        m_Room.resize(
            static_cast<std::size_t>(std::clamp<std::uint64_t>(size, c_SmallestChunk, c_ChunkSize)));
    }
    m_Used = 0;
    m_Chunk = {m_Room.data(), m_Bytes.Read(m_Room)};
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
        const std::string_view rest = m_Chunk.substr(m_Used);
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
    if (m_Number == 0 && line.text.starts_with(c_ByteOrderMark)) {
        line.text.remove_prefix(c_ByteOrderMark.size());
    }
    line.isWhole = !m_IsCut;
    line.number = isBegun ? ++m_Number : m_Number;
    return isBegun;
}
