#include "sonar/SampleBlock.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <limits>
#include <string>

int OutputAsStringShort(const unsigned short* samples, int count, int incrementBy)
{
    int step = std::clamp(incrementBy, 1, std::max(count, 1));
    while (count % step != 0) {
        --step;
    }

    std::array<char, std::numeric_limits<unsigned short>::digits10 + 1> digits{};
    std::string block = "\n<SonarFPGAData>";
    block.reserve(block.size() + static_cast<std::size_t>(count / step) * (digits.size() + 1) + 32);
    for (int index = 0; index < count; index += step) {
        const auto number = std::to_chars(digits.data(), digits.data() + digits.size(), samples[index]);
        block.append(digits.data(), number.ptr);
        if (index + 1 != count) {
            block += ',';
        }
    }
    block += "<EndSonarFPGAData>\n";

    std::fwrite(block.data(), 1, block.size(), stdout);
    std::fflush(stdout);
    return 0;
}
