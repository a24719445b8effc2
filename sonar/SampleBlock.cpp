#include "sonar/SampleBlock.h"

#include "Utilities/Saturate.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

namespace
{
/// Everything in one piece, so that nothing comes between.
void PrintBlock(const std::string& complaints, const std::string& body)
{
    const std::string text = complaints + "\n<SonarFPGAData>" + body + "<EndSonarFPGAData>\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

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
    std::string body;
    body.reserve(static_cast<std::size_t>(count) * characters);
    for (int index = 0; index < count; ++index) {
        char text[16];
        const int size = std::snprintf(text, sizeof text, "%03d", WholePart(samples[index]));
        if (size == characters) {
            body += text;
        } else {
            complaints += wrongSize(size);
        }
    }
    PrintBlock(complaints, body);
    return complaints.empty() ? 0 : 1;
}

int OutputAsStringShort(const unsigned short* samples, int count, int incrementBy)
{
    int step = std::clamp(incrementBy, 1, std::max(count, 1));
    while (count % step != 0) {
        --step;
    }

    std::array<char, std::numeric_limits<unsigned short>::digits10 + 1> digits{};
    std::string body;
    body.reserve(static_cast<std::size_t>(count / step) * (digits.size() + 1));
    for (int index = 0; index < count; index += step) {
        const auto number = std::to_chars(digits.data(), digits.data() + digits.size(), samples[index]);
        body.append(digits.data(), number.ptr);
        if (index + 1 != count) {
            body += ',';
        }
    }
    PrintBlock({}, body);
    return 0;
}
