#include "Utilities/ByteBuffer.h"

#include <cassert>

Buffer_Bytes_T::Buffer_Bytes_T(std::uint8_t* pStorage, std::size_t Size)
    : m_pStorage(pStorage), m_Original_Size_Bytes(Size), m_CurrentSize(Size)
{
}

void Buffer_Bytes_T::size(size_t NewSize) const
{
    assert(NewSize <= m_Original_Size_Bytes);
    m_CurrentSize = NewSize;
}
