#include "sonar/SampleBlock.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <tuple>

TEST(SampleBlock, TheStepBecomesADivisorAndLeavesItsTrailingComma)
{
    constexpr unsigned short samples[] = {0, 7, 10, 999, 1000, 65535};
    const std::string all = "0,7,10,999,1000,65535";
    const std::tuple<int, int, std::string> cases[] = {
        {6, 1, all},      {6, 0, all},  {6, -3, all},       {6, 2, "0,10,1000,"},      {6, 4, "0,999,"},
        {6, 5, "0,999,"}, {6, 6, "0,"}, {6, INT_MAX, "0,"}, {5, 3, "0,7,10,999,1000"}, {1, 9, "0"},
        {0, 3, ""}};
    for (const auto& [count, step, body] : cases) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(OutputAsStringShort(samples, count, step), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n<SonarFPGAData>" + body + "<EndSonarFPGAData>\n")
            << count << " samples, step " << step;
    }
}
