#include "tests/station/Runs.h"

#include <gmock/gmock.h>

#include <sstream>

using namespace testing;

namespace
{
Run_T Ping(std::vector<std::int32_t> values)
{
    Run_T run;
    run.transcript = "t";
    run.firstLine = 1;
    run.command = "xkping";
    run.outcome = Outcome::Passed;
    run.samples.taken = values.size();
    run.samples.values = std::move(values);
    return run;
}

std::size_t Count(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}
} // namespace

TEST(Plot, DrawsEachSampleAsWideAndHighAsItIs)
{
    const Run_T run = Ping({65535, 32768, 0, 8192});
    const std::string counts =
        "1 run, 1 passed, 0 performed, 0 failed, 0 not judged; 0 lines, 0 unrecognised\n";
    const std::string levels = "smallest 0 counts, largest 65535 counts, clippedShare 0.25\n\n";
    const std::string gap = "\n       |";
    std::string rows = "t:1: passed: xkping\n 65535 |#####";
    rows += gap + "#####" + gap + "#####" + gap + "#####";
    rows += gap + "##########" + gap + "##########" + gap + "##########" + gap + "##########     #####";
    EXPECT_EQ(
        Written("plot", {run}, {.sampleClock = 750, .width = 30, .isAscii = true, .isLinear = true}),
        rows +
            "\n     0 +--------------------\nsample  0                  3\n     m  0                3.0\n" +
            levels + counts);
    EXPECT_THAT(Written("plot", {Ping({65535, 36864})}, {.width = 30, .isLinear = true}),
                HasSubstr("       │███████████▄▄▄▄▄▄▄▄▄▄▄\n"));
}

TEST(Plot, ShowsTheNoiseInDecibelsAtAnyWidth)
{
    // 0, -20 and -45 dB: all, 6 and 1 of 10 rows.
    EXPECT_THAT(Written("plot", {Ping({65535, 6554, 369})}, {.width = 30, .isAscii = true}),
                AllOf(HasSubstr("  0 dB |#######\n"), HasSubstr(" |##############\n"),
                      HasSubstr(" |#####################\n   -50 +-----")));
    for (const int width : {40, 41, 120, 300}) {
        std::istringstream lines(
            Written("plot", {Ping(std::vector<std::int32_t>(993, 700))}, {.width = width, .isAscii = true}));
        std::size_t longest = 0;
        for (std::string line; std::getline(lines, line);) {
            const bool isDrawn = line.find('|') != std::string::npos || line.find("+-") != std::string::npos;
            longest = std::max(longest, isDrawn ? line.size() : 0);
        }
        EXPECT_EQ(longest, static_cast<std::size_t>(width));
    }
}

TEST(Summary, RepeatsOnATerminalWhatFailedBeforeOthersPassed)
{
    Run_T failed = Ping({1});
    failed.outcome = Outcome::Failed;
    failed.reason = "ERROR: Ping failed";
    const std::vector<Run_T> runs = {failed, Ping({2})};
    const std::string line = "t:1: \x1b[1;31mfailed\x1b[0m: xkping: ERROR: Ping failed\n";
    EXPECT_THAT(
        Written("summary", runs, {.isTerminal = true, .isColoured = true}),
        StartsWith(line + "t:1: \x1b[32mpassed\x1b[0m: xkping\n\nFailed or not judged:\n" + line + "2 runs"));
    EXPECT_THAT(Written("summary", {runs[1], runs[0]}, {.isTerminal = true}), Not(HasSubstr("Failed or")));
    EXPECT_THAT(Written("summary", runs), AllOf(Not(HasSubstr("Failed or")), Not(HasSubstr("\x1b"))));
}

TEST(Plot, StaysInItsWidthAndPrintsNoControlBytesOfAUnit)
{
    Run_T hostile = Ping(std::vector<std::int32_t>(1'048'560, -99));
    hostile.samples.values[7] = 999;
    hostile.samples.isThreeDigit = true;
    hostile.transcript = hostile.command = hostile.reason = "\x1b]0;x\x07\x9b\xff\xc3\xa9\u202e\r";
    for (const bool isAscii : {true, false}) {
        const std::string text = Written("plot", {hostile, Ping({5})}, {.width = 77, .isAscii = isAscii});
        EXPECT_THAT(text, HasSubstr("\\x1b]0;x\\x07\\x9b\\xff"));
        const auto steers = std::ranges::find_if(text, [isAscii](char byte) {
            const auto value = static_cast<unsigned char>(byte);
            return byte != '\n' && (value < ' ' || value == 0x7F || (isAscii && value > 0x7F));
        });
        EXPECT_EQ(std::string(steers, text.end()), "");
        EXPECT_THAT(text, Not(HasSubstr("\u202e")));
        EXPECT_THAT(text, HasSubstr("sample  0" + std::string(61, ' ') + "1048559\n"));
    }
}

TEST(Html, IsOfBoundedSizeAndSaysWhatItLeavesOut)
{
    const std::string one = Written("html", {Ping(std::vector<std::int32_t>(1'048'560, 65535))}, {});
    EXPECT_LT(one.size(), 100'000U);
    EXPECT_THAT(one,
                HasSubstr("1048560 samples, drawn as the lowest and the highest in each of 1024 columns"));

    std::vector<Run_T> runs(12'000, Ping({65535, 0, 1}));
    Run_T failed = Ping({1, 2, 3});
    failed.outcome = Outcome::Failed;
    runs.push_back(failed);
    const std::string page = Written("html", runs, {});
    EXPECT_EQ(Count(page, "<figure id="), 21U) << "the failed one is drawn, however late it comes";
    EXPECT_EQ(Count(page, "<details class=\"r\""), 10'000U);
    EXPECT_THAT(page, AllOf(HasSubstr(">2001 more runs (good) are counted"),
                            HasSubstr(">11980 more pings (good) are not drawn"),
                            HasSubstr("<b>12001</b>runs"), HasSubstr(">12001 pings<")));
    EXPECT_THAT(
        page, HasSubstr("data-o=\"failed\" open><summary><span class=\"mark failed\">Failed</span>: 1 run"));
    EXPECT_EQ(Count(page, "class=\"echo series1\" transform"), 2U) << "in dB and linear";
}

TEST(Html, ShowsTheWorstRunsFirstAndOfEachUnitTogether)
{
    const auto make = [](Outcome outcome, const char* unit, const char* reason) {
        Run_T run = Ping({65535, 1, 2});
        run.outcome = outcome;
        run.record.unit = unit;
        run.reason = reason;
        return run;
    };
    Run_T marginal = make(Outcome::Passed, "M", "");
    Limit_T limit;
    limit.measurement = "noiseFloor";
    marginal.limits.push_back({&limit, Fit::Marginal, 3, "counts"});
    Run_T unknown = make(Outcome::NotJudged, "U", "it contains unrecognised lines");
    unknown.KeepUnrecognised({7, "who <knows>"});
    unknown.Keep({{8, "ERROR: it is late"}, Place::Report, true});
    const std::string page =
        Written("html",
                {make(Outcome::Passed, "G", ""), marginal, make(Outcome::Passed, "A", ""), unknown,
                 make(Outcome::Passed, "G", ""), make(Outcome::Failed, "F", "ERROR: -171 of 12"),
                 make(Outcome::Failed, "E", "ERROR: -109 of 4")},
                {});
    EXPECT_THAT(page, HasSubstr("ERROR: \u2026 of \u2026</td><td>2 runs</td><td>xkping</td><td>E, F</td>"));
    EXPECT_THAT(page, HasSubstr("unrecognised, line 7: who &lt;knows&gt;\nERROR: it is late\n"));
    std::string order;
    constexpr std::string_view row = "<summary><b>";
    for (auto at = page.find(row); at != std::string::npos; at = page.find(row, at + 1)) {
        order += page.at(at + row.size());
    }
    EXPECT_EQ(order, "EFUMAGG");
    EXPECT_THAT(page, HasSubstr("<summary>G: 2 runs</summary>"));
}

TEST(Html, DrawsThePingsFirstThatDifferMostFromOthersOfTheirSetUp)
{
    std::vector<Run_T> runs(60, Ping({65535, 10, 10}));
    for (std::size_t i = 0; i < runs.size(); ++i) {
        runs[i].record.unit = "Q" + std::to_string(i);
        runs[i].samples.values[2] += static_cast<std::int32_t>(i % 5);
    }
    runs[55].samples.values[2] = 40;
    const std::string page = Written("html", runs, {});
    EXPECT_THAT(page, ContainsRegex("id=\"ping1\">.*Q55 t:1</span></h3>\n<p>mean is [67]\\.[0-9] standard "
                                    "deviations from the mean of 60 pings"));
}

TEST(Html, LabelsMarksAsExactlyAsTheSamplesAllow)
{
    const auto page = [](std::size_t bottom, double sampleClock) {
        std::vector<std::int32_t> values(1025);
        values[0] = 65535;
        std::fill_n(values.begin() + static_cast<std::ptrdiff_t>(bottom), 40, 65535);
        Run_T run = Ping(values);
        run.reason = std::string(299, 'a') + "\u00e9";
        return Written("html", {run}, {.sampleClock = sampleClock});
    };
    const std::string near = page(64, 1e9);
    EXPECT_THAT(near, HasSubstr("class=\"bottom\" x1=\"126.5\""));
    EXPECT_THAT(near,
                HasSubstr("x=\"126.5\" y=\"34.0\" text-anchor=\"start\">bottom at sample 64 (0.0000480 m)<"));
    EXPECT_THAT(near, AllOf(HasSubstr(">0.0001<"), HasSubstr(">0.0007<"), HasSubstr(">1,000<")));
    EXPECT_THAT(near, HasSubstr("<li>bottomPosition 64 samples</li>"));
    EXPECT_THAT(near, HasSubstr("aaa\u2026"));
    const std::string far = page(960, 2e6);
    EXPECT_THAT(far,
                HasSubstr("x=\"833.5\" y=\"34.0\" text-anchor=\"end\">bottom at sample 960 (0.3600 m)<"));
    EXPECT_THAT(far, AllOf(HasSubstr(">0.05<"), HasSubstr(">0.35<")));
}

TEST(Html, ComparesOnlyPingsOfTheSameSetUp)
{
    const std::vector<Run_T> same(7, Ping({1, 2}));
    EXPECT_EQ(Count(Written("html", same, {}), "<path class=\"echo series"), 12U);
    Run_T other = Ping({1, 2});
    other.samples.element = 2;
    Run_T longer = Ping({1, 2, 3});
    EXPECT_EQ(Count(Written("html", {same[0], other, longer}, {}), "<path class=\"echo series"), 0U);
}
