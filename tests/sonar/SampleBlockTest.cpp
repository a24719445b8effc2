#include "sonar/SampleBlock.h"

#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

TEST(SampleBlock, TheStepBecomesADivisorAndLeavesItsTrailingComma)
{
    constexpr unsigned short samples[] = {0, 7, 10, 999, 1000, 65535};
    const std::string all = "0,7,10,999,1000,65535";
    const std::tuple<int, int, std::string> cases[] = {{6, 1, all},      {6, 0, all},        {6, -3, all},
                                                       {6, 5, "0,999,"}, {6, INT_MAX, "0,"}, {1, 9, "0"},
                                                       {0, 3, ""}};
    for (const auto& [count, step, body] : cases) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(OutputAsStringShort(samples, count, step), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n<SonarFPGAData>" + body + "<EndSonarFPGAData>\n")
            << count << " samples, step " << step;
    }
}

TEST(SampleBlock, ASampleThatIsNotThreeCharactersIsNamedAndLeftOut)
{
    EXPECT_EQ(NotThreeDigits(4), "ERROR: Sample value expected to be three digits. Actual size: 4.\n");
    const auto complain = [](int characters) { return std::to_string(characters) + "!"; };
    const std::pair<std::vector<float>, std::string> cases[] = {
        {{}, "\n<SonarFPGAData>"},
        {{0.0F, -0.5F, 7.9F, 255.0F, 999.9F, NAN}, "\n<SonarFPGAData>000000007255999000"},
        {{-5.0F, -99.9F}, "\n<SonarFPGAData>-05-99"},
        {{1.0F, 1000.0F, -100.0F, 2.0F}, "4!4!\n<SonarFPGAData>001002"},
        {{1e30F, 3.0F, -INFINITY}, "10!11!\n<SonarFPGAData>003"}};
    for (const auto& [samples, printed] : cases) {
        testing::internal::CaptureStdout();
        const int result = OutputAsString(samples.data(), static_cast<int>(samples.size()), complain);
        EXPECT_EQ(result, printed.starts_with('\n') ? 0 : 1);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), printed + "<EndSonarFPGAData>\n");
    }
}
