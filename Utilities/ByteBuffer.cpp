#include "Utilities/ByteBuffer.h"

#include <cassert>

void Buffer_Bytes_T::size(size_t NewSize) const
{
    assert(NewSize <= m_Original_Size_Bytes);
    m_CurrentSize = NewSize;
}
