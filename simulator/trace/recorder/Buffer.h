#pragma once

#include "simulator/models/DeviceModel.h"

#include <algorithm>
#include <cstring>
#include <sys/mman.h>

/// Bytes in memory of their own, so that the program's allocations are the same with and without the
/// recorder. Nothing gives the memory back.
class CBuffer
{
public:
    /// Drops the contents and makes room; null if there is no memory.
    char* Room(std::size_t size)
    {
        Clear();
        return Grow(size) ? m_pText : nullptr;
    }
    /// Returns false if there is no memory.
    bool Append(const void* pBytes, std::size_t size)
    {
        if (!Grow(m_Size + size)) {
            return false;
        }
        if (size > 0) {
            std::memcpy(m_pText + m_Size, pBytes, size);
        }
        m_Size += size;
        return true;
    }
    void Clear() { m_Size = 0; }

    std::size_t Size() const { return m_Size; }
    const char* Text() const { return m_pText; }
    ByteView_T Bytes() const { return {reinterpret_cast<const std::uint8_t*>(m_pText), m_Size}; }

private:
    bool Grow(std::size_t size)
    {
        constexpr std::size_t c_Least = 65536;
        if (size <= m_Room) {
            return true;
        }
        const std::size_t room = std::max({c_Least, size, 2 * m_Room});
        void* const pNew =
            m_pText == nullptr
                // cppcheck-suppress invalidFunctionArg ; -1 is right for memory without a file
                ? ::mmap(nullptr, room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                : ::mremap(m_pText, m_Room, room, MREMAP_MAYMOVE);
        if (pNew == MAP_FAILED) {
            return false;
        }
        m_pText = static_cast<char*>(pNew);
        m_Room = room;
        return true;
    }

    char* m_pText = nullptr;
    std::size_t m_Size = 0;
    std::size_t m_Room = 0;
};
