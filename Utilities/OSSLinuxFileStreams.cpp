// The text side of COSSLinuxFile: what goes through the stdio stream.

#include "Utilities/OSSLinuxFile.h"

#include <cassert>
#include <cerrno>
#include <cstring>
#include <type_traits>

namespace
{
// How a number stands in the text: the format, and the type that this format fills.
struct UnsignedText_T {
    using Filled_T = unsigned int;
    static constexpr char c_Format[] = "%u ";
};
struct SizeText_T {
    using Filled_T = std::size_t;
    static constexpr char c_Format[] = "%zu ";
};
struct SignedText_T {
    using Filled_T = int;
    static constexpr char c_Format[] = "%d ";
};
// Without the blank, the white space behind the number is left to the next read.
struct SignedTextOnly_T {
    using Filled_T = int;
    static constexpr char c_Format[] = "%d";
};
struct RealText_T {
    using Filled_T = float;
    static constexpr char c_Format[] = "%f ";
};
struct RealTextOnly_T {
    using Filled_T = float;
    static constexpr char c_Format[] = "%f";
};

/// What a scanned number counts as before it is converted to its destination. Whole numbers pass through int,
/// so a size beyond its range wraps. A real number's four bytes become the first bytes of a double: readers
/// of reals get that double, and no file of this system keeps a real that is read back.
template <typename Filled_T>
auto Scanned(Filled_T Filled)
{
    if constexpr (std::is_floating_point_v<Filled_T>) {
        double scanned = 0;
        static_assert(sizeof(Filled) == 4 && sizeof(scanned) == 8);
        std::memcpy(&scanned, &Filled, sizeof(Filled));
        return scanned;
    } else {
        return static_cast<int>(Filled);
    }
}
} // namespace

/// Reads Count numbers. Where nothing more comes, an element keeps its value and errno decides: a text that
/// ends is no failure, a file that cannot be read is one.
template <typename Text_T, typename Destination_T>
bool COSSLinuxFile::ReadNumbers(Destination_T* Data, std::size_t Count)
{
    std::FILE* const pFile = m_pStream;
    assert(Data);
    assert(pFile);
    for (std::size_t place = 0; place < Count; ++place) {
        typename Text_T::Filled_T filled = 0;
        if (std::fscanf(pFile, Text_T::c_Format, &filled) != EOF) {
            Data[place] = static_cast<Destination_T>(Scanned(filled));
            m_ErrorCode = 0;
        } else {
            m_ErrorCode = errno;
        }
    }
    return Count == 0 || m_ErrorCode == 0;
}

bool COSSLinuxFile::ReadStream(UINT8* Data) { return ReadNumbers<UnsignedText_T>(Data); }
bool COSSLinuxFile::ReadStream(UINT16* Data) { return ReadNumbers<UnsignedText_T>(Data); }
bool COSSLinuxFile::ReadStream(UINT32* Data) { return ReadNumbers<UnsignedText_T>(Data); }
bool COSSLinuxFile::ReadStream(unsigned long* Data) { return ReadNumbers<SizeText_T>(Data); }
bool COSSLinuxFile::ReadStream(int* Data) { return ReadNumbers<SignedText_T>(Data); }
bool COSSLinuxFile::ReadStream(int* Data, std::size_t count)
{
    return ReadNumbers<SignedText_T>(Data, count);
}
bool COSSLinuxFile::ReadStream(short* Data) { return ReadNumbers<SignedTextOnly_T>(Data); }
bool COSSLinuxFile::ReadStream(short* Data, std::size_t count)
{
    return ReadNumbers<SignedText_T>(Data, count);
}
bool COSSLinuxFile::ReadStream(char* Data) { return ReadNumbers<SignedText_T>(Data); }
bool COSSLinuxFile::ReadStream(bool* Data) { return ReadNumbers<SignedTextOnly_T>(Data); }
bool COSSLinuxFile::ReadStream(double* Data) { return ReadNumbers<RealTextOnly_T>(Data); }
bool COSSLinuxFile::ReadStream(float* Data) { return ReadNumbers<RealTextOnly_T>(Data); }
bool COSSLinuxFile::ReadStream(float* Data, std::size_t count)
{
    return ReadNumbers<RealText_T>(Data, count);
}

bool COSSLinuxFile::ReadStream(char* Data, const char* Format)
{
    assert(Data);
    assert(Format);
    return m_pStream != nullptr && Record(std::fscanf(m_pStream, Format, Data) != EOF);
}

bool COSSLinuxFile::WriteStream(const char* Data)
{
    assert(Data);
    if (m_pStream != nullptr) {
        m_ErrorCode = 0;
        Record(std::fputs(Data, m_pStream) != EOF);
        Record(std::fflush(m_pStream) == 0);
    }
    return m_ErrorCode == 0;
}

bool COSSLinuxFile::Fseek(int offset, int whence)
{
    if (m_pStream == nullptr) {
        return false;
    }
    m_ErrorCode = 0;
    return Record(std::fseek(m_pStream, offset, whence) != -1);
}

long COSSLinuxFile::Ftell() { return m_pStream == nullptr ? -1 : std::ftell(m_pStream); }
