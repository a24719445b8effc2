#include "sonar/LumetSettings.h"

#include <QProcess>
#include <algorithm>
#include <gmock/gmock.h>

namespace
{
TEST(LumetSettings, FiltersAreTheGeneratorsBellsThroughTheDesignsCoefficients)
{
    using Numbers = std::vector<int>;
    const std::tuple<std::string, Numbers, Numbers> filters[] = {
        {"200long",
         {1137, 1315, 1504, 1705, 1917, 2141, 2377},
         {16287, 21197, 21731, 26232, 26685, 30154, 30461, 32389, 32504, 32598, 32504, 30751, 30461, 27126}},
        {"350long", {1147, 1326, 1515, 1716, 1929, 2154, 2390, 2639, 2900, 3173}, {}}};
    for (const auto& [name, beginning, further] : filters) {
        const CPingMetaData ping = LumetSetting(name).value();
        Numbers filter;
        for (const CorrelationFilterCoefficientSet_T& entry : ping.m_CorrelationFilter) {
            EXPECT_EQ(entry.first, 0);
            filter.push_back(entry.second);
        }
        const auto peak = std::ranges::max_element(filter);
        ASSERT_TRUE(filter.size() > 150 && filter.size() < 180);
        EXPECT_EQ(*peak, 32598);
        EXPECT_TRUE(std::is_sorted(filter.begin(), peak));
        EXPECT_TRUE(std::is_sorted(filter.rbegin(), std::make_reverse_iterator(peak)));
        EXPECT_THAT(Numbers(filter.begin(), filter.begin() + std::ssize(beginning)),
                    testing::ElementsAreArray(beginning));
        EXPECT_THAT(filter, testing::IsSupersetOf(further));

        QProcess generator;
        generator.start(QStringLiteral(SONARBENCH_MAKE_CORRELATION), {QString::fromStdString(name)});
        ASSERT_TRUE(generator.waitForFinished());
        Numbers written;
        for (const QByteArray& number :
             generator.readAllStandardOutput().simplified().chopped(1).split(',')) {
            written.push_back(number.toInt());
        }
        EXPECT_EQ(written, filter);
    }
}
} // namespace
