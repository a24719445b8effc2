#include "station/judge/Echo.h"
#include "tests/station/Runs.h"

#include <gmock/gmock.h>

using namespace testing;

namespace
{
/// COUNT samples of VALUE, starting at PLACE.
struct Part_T {
    std::size_t place, count;
    std::int32_t value;
};

/// 1,024 samples of 10, and the parts above them.
Samples_T Echo(const std::vector<Part_T>& parts)
{
    Samples_T samples;
    samples.values.assign(1024, 10);
    for (const Part_T& part : parts) {
        std::fill_n(samples.values.begin() + static_cast<std::ptrdiff_t>(part.place), part.count, part.value);
    }
    return samples;
}
} // namespace

TEST(Echo, EachThresholdHasTheValueThatIsDocumented)
{
    using Place_T = std::optional<std::size_t>;
    struct Case_T {
        const char* name;
        std::vector<Part_T> parts; ///< the pulse ends at 4, the bottom begins at 400
        Place_T ringDownEnd, bottom;
        bool isThreeDigit = false;
    };
    const Part_T bottom = {400, 40, 20000};
    const auto none = std::nullopt;
    const Case_T cases[] = {
        {"pulse of half of full scale", {{0, 4, 32768}, bottom}, 4, 400},
        {"pulse below", {{0, 4, 32767}, bottom}, none, none},
        {"clipped to the end of the ring-down", {{0, 4, 65535}, bottom}, none, 400},
        {"quiet below 10 %", {{4, 96, 6553}, bottom}, 4, 400},
        {"not quiet at 10 %", {{4, 1020, 6554}, bottom}, none, none},
        {"15 quiet samples", {{19, 1, 6554}, bottom}, 20, 400},
        {"16 quiet samples", {{20, 1, 6554}, bottom}, 4, 400},
        {"rise by 10 % in the ring-down", {{4, 1, 20000}, {5, 1, 26553}, bottom}, 6, 400},
        {"larger rise", {{4, 1, 20000}, {5, 1, 26554}, bottom}, none, none},
        {"bottom of 9 times the noise floor", {{400, 40, 90}}, 4, 400},
        {"lower bottom", {{400, 40, 89}}, 4, none},
        {"bottom of 4 times the quietest group", {{440, 584, 20}, {16, 100, 20}, {400, 40, 90}}, 4, 400},
        {"bottom of 2 times what is before", {{4, 396, 50}, {400, 1, 120}, {401, 40, 100}}, 4, 400},
        {"less above what is before", {{4, 396, 50}, {400, 1, 120}, {401, 40, 99}}, 4, none},
        {"peak of 10 levels", {{400, 1, 1000}, {401, 120, 100}}, 4, 400},
        {"higher peak", {{400, 1, 1001}, {401, 120, 100}}, 4, none},
        {"rise by 75 % after the peak", {{400, 1, 400}, {401, 80, 100}, {406, 1, 175}}, 4, 400},
        {"second peak", {{400, 1, 400}, {401, 80, 100}, {406, 1, 176}}, 4, none},
        {"bottom of 12 samples", {{400, 12, 100}}, 4, 400},
        {"shorter bottom", {{400, 11, 100}}, 4, none},
        {"front of half the peak", {{398, 2, 10000}, bottom}, 4, 398},
        {"lower front", {{398, 2, 9999}, bottom}, 4, 400},
        {"front with a dip", {{398, 1, 10000}, bottom}, 4, 398},
        {"longer dip", {{397, 1, 10000}, bottom}, 4, 400},
        {"narrow echo", {{400, 1, 900}, {401, 90, 100}}, 4, none},
        {"fainter echo before", {{200, 16, 100}, bottom}, 4, 400},
        {"fainter echo after", {bottom, {600, 40, 19000}}, 4, 400},
        {"quiet below 30 %", {{0, 4, 200}, {4, 96, 76}, {400, 40, 200}}, 4, 400, true},
        {"not quiet at 30 %", {{0, 4, 200}, {4, 1020, 77}}, none, none, true},
        {"bottom of 3 times the noise floor", {{0, 4, 200}, {400, 40, 30}}, 4, 400, true},
        {"lower bottom", {{0, 4, 200}, {400, 40, 29}}, 4, none, true},
        {"peak of 3 levels", {{0, 4, 200}, {400, 1, 120}, {401, 120, 40}}, 4, 400, true},
        {"higher peak", {{0, 4, 200}, {400, 1, 121}, {401, 120, 40}}, 4, none, true}};
    CEchoParts echo;
    for (const Case_T& row : cases) {
        std::vector<Part_T> parts = {{0, 4, 60000}};
        parts.insert(parts.end(), row.parts.begin(), row.parts.end());
        Samples_T samples = Echo(parts);
        samples.isThreeDigit = row.isThreeDigit;
        echo.Find(samples);
        const auto end = echo.RingDownEnd();
        EXPECT_EQ(end ? Place_T(static_cast<std::size_t>(std::ceil(*end))) : none, row.ringDownEnd)
            << row.name;
        EXPECT_EQ(echo.Bottom() ? Place_T(echo.Bottom()->front) : none, row.bottom) << row.name;
    }
    // Too short for a stretch of samples, and for the ring-down to end.
    echo.Find({});
    EXPECT_FALSE(echo.RingDownEnd());
    Samples_T few;
    few.values = {65535, 33, 20, 64, 2417, 134, 9, 5};
    echo.Find(few);
    EXPECT_FALSE(echo.RingDownEnd());
}

TEST(Echo, TheQuietPartLeavesOutLoudGroupsAndTheGroupAfterEach)
{
    CEchoParts echo;
    const auto quiet = [&echo](const std::vector<Part_T>& parts) {
        const Samples_T samples = Echo(parts);
        echo.Find(samples);
        return echo.Quiet() == nullptr ? 0 : echo.Quiet()->Count();
    };
    // Without a pulse, all groups but the first can be quiet.
    EXPECT_EQ(quiet({}), 31 * 32U);
    EXPECT_EQ(quiet({{320, 32, 14}}), 31 * 32U) << "1.4 times the quietest";
    EXPECT_EQ(quiet({{320, 32, 15}}), 29 * 32U);
    EXPECT_EQ(quiet({{320, 352, 500}}), 19 * 32U);
    EXPECT_EQ(quiet({{448, 576, 500}}), 13 * 32U);
    EXPECT_EQ(quiet({{416, 608, 500}}), 0U) << "fewer than 416 samples";
    std::vector<Part_T> falling;
    for (std::size_t place = 0; place < 1024; place += 32) {
        falling.push_back({place, 16, 13});
    }
    EXPECT_EQ(quiet(falling), 0U) << "each group falls like the tail of an echo";
}
