#include "simulator/trace/TraceText.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace
{
/// Digits of the longest number.
constexpr std::size_t c_MostDigits = 20;
/// More than all words of a line take that are neither bytes nor names.
constexpr std::size_t c_WordsRoom = 256;
constexpr std::string_view c_Digits = "0123456789abcdef";

/// How many bytes the checksum takes at a time.
constexpr std::size_t c_Slice = 8;
using Checksums_T = std::array<std::array<std::uint16_t, 256>, c_Slice>;

/// The checksums of a byte, and of a byte with 1 to 7 zeros after it.
constexpr Checksums_T MakeChecksums()
{
    constexpr unsigned c_Polynomial = 0x8408;
    Checksums_T checksums{};
    for (unsigned byte = 0; byte < checksums[0].size(); ++byte) {
        unsigned rest = byte;
        for (auto& ofBytes : checksums) {
            for (int bit = 0; bit < 8; ++bit) {
                rest = (rest & 1) != 0 ? rest >> 1 ^ c_Polynomial : rest >> 1;
            }
            ofBytes[byte] = static_cast<std::uint16_t>(rest);
        }
    }
    return checksums;
}

char* PutText(char* pOut, std::string_view text)
{
    if (!text.empty()) {
        std::memcpy(pOut, text.data(), text.size());
    }
    return pOut + text.size();
}

template <class Number_T>
char* PutNumber(char* pOut, Number_T number)
{
    return std::to_chars(pOut, pOut + c_MostDigits, number).ptr;
}

/// A number in hexadecimal, with so many digits.
char* PutHex(char* pOut, std::uint32_t value, std::size_t digits)
{
    for (std::size_t at = digits; at > 0; --at, value >>= 4) {
        pOut[at - 1] = c_Digits[value & 0xF];
    }
    return pOut + digits;
}

/// The digit of a number below 16, without a table, so that the compiler can make many at a time.
constexpr std::uint8_t Digit(unsigned number)
{
    return static_cast<std::uint8_t>('0' + number + (number > 9 ? 'a' - '9' - 1 : 0));
}

char* PutBytes(char* pOut, ByteView_T bytes)
{
    auto* const pDigits = reinterpret_cast<std::uint8_t*>(pOut);
    const std::uint8_t* const pBytes = bytes.data();
    const std::size_t size = bytes.size();
    for (std::size_t at = 0; at < size; ++at) {
        pDigits[2 * at] = Digit(pBytes[at] >> 4);
        pDigits[2 * at + 1] = Digit(pBytes[at] & 0xF);
    }
    return bytes.empty() ? PutText(pOut, TraceWord::c_Nothing) : pOut + 2 * size;
}

char* PutTime(char* pOut, std::chrono::nanoseconds time)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    pOut = PutNumber(pOut, seconds.count());
    *pOut++ = '.';
    auto rest = (time - seconds).count();
    for (std::size_t at = TraceWord::c_Decimals; at > 0; --at, rest /= 10) {
        pOut[at - 1] = static_cast<char>('0' + rest % 10);
    }
    return pOut + TraceWord::c_Decimals;
}

char* PutError(char* pOut, int error)
{
    const char* const pName = ::strerrorname_np(error);
    return pName != nullptr ? PutText(pOut, pName) : PutNumber(pOut, error);
}
} // namespace

std::uint16_t TraceChecksum(ByteView_T bytes)
{
    static constexpr auto c_Checksums = MakeChecksums();
    constexpr unsigned c_All = 0xFFFF;
    unsigned checksum = c_All;
    std::size_t at = 0;
    for (; at + c_Slice <= bytes.size(); at += c_Slice) {
        const std::uint8_t* const pBytes = bytes.data() + at;
        checksum = c_Checksums[7][(checksum ^ pBytes[0]) & 0xFF] ^
                   c_Checksums[6][(checksum >> 8 ^ pBytes[1]) & 0xFF] ^ c_Checksums[5][pBytes[2]] ^
                   c_Checksums[4][pBytes[3]] ^ c_Checksums[3][pBytes[4]] ^ c_Checksums[2][pBytes[5]] ^
                   c_Checksums[1][pBytes[6]] ^ c_Checksums[0][pBytes[7]];
    }
    for (const std::uint8_t byte : bytes.subspan(at)) {
        checksum = checksum >> 8 ^ c_Checksums[0][(checksum ^ byte) & 0xFF];
    }
    return static_cast<std::uint16_t>(checksum ^ c_All);
}

char* PutChecksum(char* pOut, ByteView_T bytes)
{
    *pOut++ = TraceWord::c_Checksum;
    return PutHex(pOut, TraceChecksum(bytes), TraceWord::c_ChecksumDigits);
}

std::size_t RoomFor(const TraceLine_T& line)
{
    return c_WordsRoom + line.device.size() + line.direction.size() + 2 * line.bytes.size() +
           line.meaning.size();
}

char* PutBeginning(char* pOut, const TraceLine_T& line)
{
    pOut = line.time ? PutTime(pOut, *line.time) : PutText(pOut, TraceWord::c_Nothing);
    for (const std::string_view word : {line.device, line.direction}) {
        *pOut++ = ' ';
        pOut = PutText(pOut, word);
    }
    *pOut++ = ' ';
    return pOut;
}

char* PutLine(char* pOut, const TraceLine_T& line)
{
    pOut = PutBeginning(pOut, line);
    pOut = PutNumber(pOut, line.bytes.size());
    *pOut++ = ' ';
    if (line.request) {
        pOut = PutHex(pOut, *line.request, TraceWord::c_RequestDigits);
        *pOut++ = TraceWord::c_RequestEnd;
    }
    pOut = PutBytes(pOut, line.bytes);
    if (line.isSent) {
        *pOut++ = ' ';
        pOut = PutChecksum(pOut, line.bytes);
    }
    if (line.error != 0) {
        *pOut++ = ' ';
        *pOut++ = TraceWord::c_Error;
        pOut = PutError(pOut, line.error);
    }
    if (line.taken) {
        *pOut++ = ' ';
        *pOut++ = TraceWord::c_Taken;
        pOut = PutNumber(pOut, *line.taken);
    }
    if (line.delay.count() != 0) {
        *pOut++ = ' ';
        *pOut++ = TraceWord::c_Delay;
        pOut = PutText(PutNumber(pOut, line.delay.count()), TraceWord::c_DelayUnit);
    }
    if (line.pace != Pace::AtOnce) {
        *pOut++ = ' ';
        pOut = PutText(pOut, TraceWord::c_Paces[static_cast<std::size_t>(line.pace)]);
    }
    if (line.times) {
        *pOut++ = ' ';
        *pOut++ = TraceWord::c_RealTime;
        pOut = PutTime(pOut, line.times->begin);
        *pOut++ = TraceWord::c_RealTimeEnd;
        pOut = PutTime(pOut, line.times->end);
    }
    if (!line.meaning.empty()) {
        *pOut++ = ' ';
        *pOut++ = TraceWord::c_Comment;
        *pOut++ = ' ';
        pOut = PutText(pOut, line.meaning);
    }
    *pOut++ = '\n';
    return pOut;
}

std::size_t RoomFor(const TraceFileLine_T& line)
{
    return c_WordsRoom + line.path.size() + 2 * line.contents.size();
}

char* PutLine(char* pOut, const TraceFileLine_T& line)
{
    pOut = PutText(pOut, TraceWord::c_File);
    pOut = PutText(pOut, TraceWord::c_FileAccesses[static_cast<std::size_t>(line.access)]);
    *pOut++ = ' ';
    if (line.access == FileAccess::Failed) {
        *pOut++ = TraceWord::c_Error;
        pOut = PutError(pOut, line.error);
        *pOut++ = ' ';
    } else if (line.access == FileAccess::Read || line.access == FileAccess::Shell) {
        pOut = PutNumber(pOut, line.contents.size());
        *pOut++ = ' ';
        pOut = PutBytes(pOut, line.contents);
        *pOut++ = ' ';
    }
    pOut = PutText(pOut, line.path);
    *pOut++ = '\n';
    return pOut;
}
