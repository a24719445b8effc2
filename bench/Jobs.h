#pragma once

#include <cstddef>
#include <string>
#include <vector>

// The measured jobs, and the minimal work that they are compared with.

/// Samples like those of an echo: most are small, some have any size. They are always the same.
std::vector<unsigned short> EchoOf(std::size_t samples);
/// The same for an FPGA that sends one byte per sample.
std::vector<float> ByteEchoOf(std::size_t samples);

/// Formats the samples into the buffer with std::to_chars, each followed by a comma. Returns the end of the
/// text. The buffer has room for six characters per sample.
char* FormatBare(const std::vector<unsigned short>& samples, char* pTo);
/// The same for the integer parts, without separators.
char* FormatBare(const std::vector<float>& samples, char* pTo);

/// Reads the file with one read, and searches its line ends once. Returns the number of lines.
std::size_t PassOver(const std::string& fileName);

/// Discards standard output during its lifetime.
class CSilence
{
public:
    CSilence();
    ~CSilence();
    CSilence(const CSilence&) = delete;
    CSilence& operator=(const CSilence&) = delete;

private:
    int m_Stdout;
};
