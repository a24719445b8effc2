#include "sonar/SampleBlock.h"

#include "Utilities/Saturate.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <span>
#include <string_view>

namespace
{
constexpr std::string_view c_Begin = "\n<SonarFPGAData>";
constexpr std::string_view c_End = "<EndSonarFPGAData>\n";

/// A block whose samples take at most so many characters, all zero yet.
std::string BlockFor(std::size_t characters)
{
    std::string block(c_Begin);
    block.resize(c_Begin.size() + characters + c_End.size());
    return block;
}

/// Prints the block, in which the samples end at pEnd, and complaints before it: all in one piece, so that
/// nothing comes between.
void PrintBlock(const std::string& complaints, std::string& block, const char* pEnd)
{
    block.resize(static_cast<std::size_t>(pEnd - block.data()));
    block += c_End;
    block.insert(0, complaints);
    std::fwrite(block.data(), 1, block.size(), stdout);
    std::fflush(stdout);
}

int WholePart(float sample)
{
    constexpr unsigned int largest = std::numeric_limits<int>::max();
    const int magnitude = static_cast<int>(std::min(SaturateToUnsigned(std::fabs(sample)), largest));
    return sample < 0 ? -magnitude : magnitude;
}

/// Digits of the longest sample. Behind the samples there is room for that many: the end of the block.
constexpr std::size_t c_LongestSample = std::numeric_limits<unsigned short>::digits10 + 1;
static_assert(c_LongestSample <= c_End.size());

/// Room for a sample and the comma behind it: exact enough, because most of an echo has one or two digits,
/// and quicker than its exact length.
constexpr std::size_t RoomFor(unsigned short sample) { return 3U + (c_LongestSample - 2) * (sample > 99); }
} // namespace

std::string NotThreeDigits(int characters)
{
    return "ERROR: Sample value expected to be three digits. Actual size: " + std::to_string(characters) +
           ".\n";
}

int OutputAsString(const float* samples, int count, WrongSize_T* wrongSize)
{
    constexpr int characters = 3;
    std::string complaints;
    std::string block = BlockFor(static_cast<std::size_t>(count) * characters);
    char* pTo = block.data() + c_Begin.size();
    for (const float sample : std::span(samples, static_cast<std::size_t>(count))) {
        if (sample >= 0 && sample < 1000) {
            const auto number = static_cast<unsigned int>(sample);
            *pTo++ = static_cast<char>('0' + number / 100);
            *pTo++ = static_cast<char>('0' + number / 10 % 10);
            *pTo++ = static_cast<char>('0' + number % 10);
            continue;
        }
        char text[16];
        const int size = std::snprintf(text, sizeof text, "%03d", WholePart(sample));
        if (size == characters) {
            pTo = std::copy_n(text, characters, pTo);
        } else {
            complaints += wrongSize(size);
        }
    }
    PrintBlock(complaints, block, pTo);
    return complaints.empty() ? 0 : 1;
}

int OutputAsStringShort(const unsigned short* samples, int count, int incrementBy)
{
    int step = std::clamp(incrementBy, 1, std::max(count, 1));
    while (count % step != 0) {
        --step;
    }

    // Looked through first, because room for five digits each would be twice what an echo needs.
    const unsigned short* const pBehind = samples + count;
    std::size_t characters = 0;
    for (const unsigned short* pSample = samples; pSample != pBehind; pSample += step) {
        characters += RoomFor(*pSample);
    }
    std::string block = BlockFor(characters);
    char* pTo = block.data() + c_Begin.size();
    for (const unsigned short* pSample = samples; pSample != pBehind; pSample += step) {
        pTo = std::to_chars(pTo, pTo + c_LongestSample, *pSample).ptr;
        *pTo++ = ',';
    }
    // Nothing follows the last of all samples.
    PrintBlock({}, block, step == 1 && count > 0 ? pTo - 1 : pTo);
    return 0;
}
