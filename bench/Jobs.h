#pragma once

#include <cstddef>
#include <string>
#include <vector>

// What is measured, and the bare work that it is compared with.

/// Samples as an echo has them: most of them small, some of all sizes. Always the same ones.
std::vector<unsigned short> EchoOf(std::size_t samples);
/// The same for a FPGA that gives a byte a sample.
std::vector<float> ByteEchoOf(std::size_t samples);

/// Formats the samples into the buffer by std::to_chars, a comma behind each. Returns the end of the text.
/// The buffer has room for six characters a sample.
char* FormatBare(const std::vector<unsigned short>& samples, char* pTo);
/// The same for whole parts, with nothing between them.
char* FormatBare(const std::vector<float>& samples, char* pTo);

/// Reads the file with one read, and passes over it once from line end to line end. Returns the lines.
std::size_t PassOver(const std::string& fileName);

/// While it lives, what is printed goes nowhere.
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
