#include "bench/Jobs.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace
{
constexpr std::size_t c_LargestFile = std::size_t{1} << 20;

/// Numbers that are the same in every run and on every machine, below a limit of at most 65,536.
class CNumbers
{
public:
    unsigned int Below(unsigned int limit)
    {
        m_State = m_State * 1664525U + 1013904223U;
        return (m_State >> 16) % limit;
    }

private:
    std::uint32_t m_State = 1;
};
} // namespace

std::vector<unsigned short> EchoOf(std::size_t samples)
{
    CNumbers numbers;
    std::vector<unsigned short> echo(samples);
    for (unsigned short& sample : echo) {
        const unsigned int bits = numbers.Below(17);
        sample = static_cast<unsigned short>(numbers.Below(1U << bits));
    }
    return echo;
}

std::vector<float> ByteEchoOf(std::size_t samples)
{
    CNumbers numbers;
    std::vector<float> echo(samples);
    for (float& sample : echo) {
        sample = static_cast<float>(numbers.Below(256));
    }
    return echo;
}

char* FormatBare(const std::vector<unsigned short>& samples, char* pTo)
{
    for (const unsigned short sample : samples) {
        pTo = std::to_chars(pTo, pTo + 5, sample).ptr;
        *pTo++ = ',';
    }
    return pTo;
}

char* FormatBare(const std::vector<float>& samples, char* pTo)
{
    for (const float sample : samples) {
        pTo = std::to_chars(pTo, pTo + 3, static_cast<int>(sample)).ptr;
    }
    return pTo;
}

std::size_t PassOver(const std::string& fileName)
{
    const auto text = std::make_unique_for_overwrite<char[]>(c_LargestFile);
    const int descriptor = ::open(fileName.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t size = ::read(descriptor, text.get(), c_LargestFile);
    ::close(descriptor);
    const char* const pEnd = text.get() + (size > 0 ? size : 0);
    std::size_t lines = 0;
    const char* pLine = text.get();
    while (const void* pFound = std::memchr(pLine, '\n', static_cast<std::size_t>(pEnd - pLine))) {
        pLine = static_cast<const char*>(pFound) + 1;
        ++lines;
    }
    return lines;
}

CSilence::CSilence() : m_Stdout(::dup(STDOUT_FILENO))
{
    std::fflush(stdout);
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(nowhere, STDOUT_FILENO);
    ::close(nowhere);
}

CSilence::~CSilence()
{
    ::dup2(m_Stdout, STDOUT_FILENO);
    ::close(m_Stdout);
}
