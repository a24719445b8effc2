#pragma once

#include <cstddef>
#include <cstdint>

/// A view on the caller's bytes: their address, the capacity of the storage, and the number of bytes that are
/// valid now. The storage must outlive the view; the destructor releases nothing.
class Buffer_Bytes_T
{
public:
    /// @param pStorage  first byte of the caller's storage
    /// @param Size      capacity in bytes; also the current size at first
    Buffer_Bytes_T(std::uint8_t* pStorage, std::size_t Size)
        : m_pStorage(pStorage), m_Original_Size_Bytes(Size), m_CurrentSize(Size)
    {
    }
    virtual ~Buffer_Bytes_T() = default;

    /// The caller's storage, for reading and writing.
    std::uint8_t* data() const { return m_pStorage; }

    /// Capacity in bytes, fixed at construction.
    std::size_t capacity() const { return m_Original_Size_Bytes; }

    /// Number of valid bytes: what a write sends, what a read asks for and, after it, what it received.
    std::size_t size() const { return m_CurrentSize; }

    /// Sets the number of valid bytes; more than the capacity is an assertion. Const, so that a sender
    /// given a const buffer can say how many bytes went out.
    void size(size_t NewSize) const;

private:
    std::uint8_t* m_pStorage;
    std::size_t m_Original_Size_Bytes;
    mutable std::size_t m_CurrentSize;
};
