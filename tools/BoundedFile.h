#pragma once

#include <filesystem>
#include <string>
#include <unistd.h>
#include <utility>

// Opening and reading that ends, whatever is at the other end of a pipe.

/// A file descriptor that is closed at the end; -1 for none.
class CDescriptor
{
public:
    explicit CDescriptor(int descriptor = -1) : m_Descriptor(descriptor) {}
    CDescriptor(CDescriptor&& other) noexcept : m_Descriptor(std::exchange(other.m_Descriptor, -1)) {}
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    ~CDescriptor()
    {
        if (m_Descriptor >= 0) {
            ::close(m_Descriptor);
        }
    }
    int Get() const { return m_Descriptor; }

private:
    int m_Descriptor;
};

/// The contents of a file. Throws std::runtime_error "FILE: why" for a file that cannot be read, a directory,
/// more than mostBytes (whole MiB), and for a pipe that is silent for five seconds or has no end within 30.
std::string ReadBounded(const std::filesystem::path& file, std::size_t mostBytes);

/// Opens a pipe to write to it, for which somebody must open its other end within five seconds. Throws
/// std::system_error when it cannot be opened; with ENXIO, nobody did.
CDescriptor OpenPipeToWrite(const std::filesystem::path& pipe);
