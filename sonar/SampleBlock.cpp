#include "sonar/SampleBlock.h"

#include "Utilities/Saturate.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <span>
#include <string_view>

namespace
{
constexpr std::string_view c_Begin = "\n<SonarFPGAData>";
constexpr std::string_view c_End = "<EndSonarFPGAData>\n";

/// The text of a block, printed in one piece so that nothing comes between.
class CBlock
{
public:
    /// @param room  most characters of the samples
    explicit CBlock(std::size_t room)
        : m_Text(std::make_unique_for_overwrite<char[]>(c_Begin.size() + room + c_End.size()))
    {
        std::ranges::copy(c_Begin, m_Text.get());
    }

    /// Where the samples go.
    char* Samples() { return m_Text.get() + c_Begin.size(); }
    /// @param pEnd  end of the samples
    void Print(char* pEnd)
    {
        pEnd = std::ranges::copy(c_End, pEnd).out;
        std::fwrite(m_Text.get(), 1, static_cast<std::size_t>(pEnd - m_Text.get()), stdout);
        std::fflush(stdout);
    }

private:
    std::unique_ptr<char[]> m_Text;
};

int WholePart(float sample)
{
    constexpr unsigned int largest = std::numeric_limits<int>::max();
    const int magnitude = static_cast<int>(std::min(SaturateToUnsigned(std::fabs(sample)), largest));
    return sample < 0 ? -magnitude : magnitude;
}
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
    CBlock block(static_cast<std::size_t>(count) * characters);
    char* pTo = block.Samples();
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
    std::fputs(complaints.c_str(), stdout);
    block.Print(pTo);
    return complaints.empty() ? 0 : 1;
}

int OutputAsStringShort(const unsigned short* samples, int count, int incrementBy)
{
    int step = std::clamp(incrementBy, 1, std::max(count, 1));
    while (count % step != 0) {
        --step;
    }

    constexpr std::size_t digits = std::numeric_limits<unsigned short>::digits10 + 1;
    CBlock block(static_cast<std::size_t>(count / step) * (digits + 1)); // a comma after each
    char* pTo = block.Samples();
    for (const unsigned short* pSample = samples; pSample != samples + count; pSample += step) {
        pTo = std::to_chars(pTo, pTo + digits, *pSample).ptr;
        *pTo++ = ',';
    }
    // No comma follows the last of all samples.
    block.Print(step == 1 && count > 0 ? pTo - 1 : pTo);
    return 0;
}
