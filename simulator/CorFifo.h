#pragma once

#include "simulator/DeviceModel.h"

#include <algorithm>
#include <utility>

/// A ping data FIFO of an FPGA that is driven by packets, with its status.
class CCorFifo
{
public:
    /// A ping's data takes the place of what is there; unread data is lost, which the status keeps.
    void Load(Bytes_T data)
    {
        m_Errors |= Left() > 0 ? c_DataLost : c_None;
        m_Data = std::move(data);
        m_Taken = 0;
    }

    /// The next count bytes, with zeros for those that are not there.
    Bytes_T Take(std::size_t count)
    {
        const std::size_t there = std::min(count, Left());
        const auto first = m_Data.begin() + static_cast<std::ptrdiff_t>(m_Taken);
        Bytes_T bytes(first, first + static_cast<std::ptrdiff_t>(there));
        bytes.resize(count);
        m_Taken += there;
        m_Errors |= there < count ? c_ReadBeyondEnd : c_None;
        return bytes;
    }

    /// Bytes that were not read yet.
    std::size_t Left() const { return m_Data.size() - m_Taken; }

    /// Bit 0: more was read than there was; bit 1: data is left; bit 2: empty; bit 3: a ping replaced unread
    /// data.
    std::uint8_t Status() const
    {
        return static_cast<std::uint8_t>(m_Errors | (Left() > 0 ? c_DataLeft : c_Empty));
    }

private:
    static constexpr std::uint8_t c_None = 0x00;
    static constexpr std::uint8_t c_ReadBeyondEnd = 0x01;
    static constexpr std::uint8_t c_DataLeft = 0x02;
    static constexpr std::uint8_t c_Empty = 0x04;
    static constexpr std::uint8_t c_DataLost = 0x08;

    Bytes_T m_Data;
    std::size_t m_Taken = 0;
    std::uint8_t m_Errors = 0;
};
