#include "station/judge/Limits.h"
#include "station/judge/LearnLimits.h"
#include "tests/station/Runs.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>

#include <charconv>
#include <cmath>
#include <random>

using namespace testing;

namespace
{
/// A limits file with these rules, each on a line; the first is on line 2.
std::string File(const std::string& rules)
{
    return R"({"schemaVersion": {"major": 1, "minor": 0}, "rules": [)"
           "\n" +
           rules + "\n]}";
}

std::vector<Limit_T> Parsed(const std::string& rules)
{
    return ParseLimits("limits", QByteArray::fromStdString(File(rules)));
}

std::string Refusal(const std::string& json)
{
    return ErrorOf([&json] { ParseLimits("limits", QByteArray::fromStdString(json)); });
}

Run_T PingWith(const std::vector<Quantity_T>& measurements,
               const std::vector<Bytes_T>& arguments = {"t", "0", "1"})
{
    Run_T run;
    run.command = "xkping";
    run.arguments = arguments;
    run.measurements = measurements;
    run.outcome = Outcome::Passed;
    return run;
}

/// The outcome and the reason after the limits.
std::string Judged(Run_T run, const std::string& rules, const std::string& product = "QL4K")
{
    CLimits limits(Parsed(rules), product);
    limits.Apply(run);
    return NameOf(run.outcome) + (run.reason.empty() ? "" : ": " + run.reason);
}
/// A good run of a unit of its own.
Run_T Good(int unit, const std::vector<Quantity_T>& measurements, const std::vector<std::int32_t>& echo = {})
{
    Run_T run = PingWith(measurements);
    run.transcript = "unit" + std::to_string(unit);
    run.firstLine = 1;
    run.samples.values = echo;
    return run;
}

Learned_T LearnedFrom(const std::vector<Run_T>& runs)
{
    CLimitsLearner learner("QL4K", 0.001);
    std::ranges::for_each(runs, [&learner](const Run_T& run) { learner.Take(run); });
    EXPECT_THAT(learner.Objections(), IsEmpty());
    return learner.Learn();
}

/// The range of a measurement in the limits: "20 to 90".
std::string RangeIn(const Learned_T& learned, const std::string& measurement)
{
    const auto limit = std::ranges::find(learned.limits, measurement, &Limit_T::measurement);
    return limit == learned.limits.end() ? "none" : RangeText(*limit, "");
}
} // namespace

TEST(Limits, AWrongFileIsRefusedAtItsPlace)
{
    const std::string good = R"({"measurement": "noiseFloor", "most": 90})";
    const std::string columns =
        "limits:2:44: rules[0].envelope.high: does not have as many columns as low, or is "
        "empty, or has more than there are samples";
    const std::pair<std::string, std::string> rules[] = {
        {R"({"measurement": "noiseFlor", "most": 90})",
         "limits:2:2: rules[0].measurement: there is no such measurement; did you mean noiseFloor?"},
        {R"({"measurement": "noiseFloor"})", "limits:2:1: rules[0]: has neither least nor most"},
        {R"({"most": 90})", "limits:2:1: rules[0]: has no key measurement"},
        {R"({"measurement": "noiseFloor", "least": 91, "most": 90})",
         "limits:2:31: rules[0].least: is above most"},
        {R"({"measurement": "clippedShare", "most": 90})",
         "limits:2:33: rules[0].most: 90 is not a number from 0 to 1"},
        {R"({"measurement": "noiseFloor", "least": 80, "most": 90, "margin": 11})",
         "limits:2:56: rules[0].margin: is larger than the range from least to most"},
        {good + ",\n" + R"({"measurement": "noiseFloor", "most": 90, "product": ""})",
         "limits:3:43: rules[1].product: is empty; * is for any"},
        // Rules that are for no run.
        {R"({"command": "xkpin", "measurement": "noiseFloor", "most": 90})",
         "limits:2:2: rules[0].command: there is no such command; did you mean xkping?"},
        {R"({"command": "sense*", "measurement": "noiseFloor", "most": 90})",
         "limits:2:2: rules[0].command: the command does not have the measurement noiseFloor"},
        {R"({"command": "xkping", "measurement": "sensePin", "most": 90})",
         "limits:2:2: rules[0].command: the command does not have the measurement sensePin"},
        {R"({"channel": "2", "measurement": "noiseFloor", "most": 90})",
         "limits:2:2: rules[0].channel: channels are 0 and 1"},
        {R"({"channel": "1", "measurement": "sensePin", "most": 90})",
         "limits:2:2: rules[0].channel: the command has no channels"},
        {R"({"envelope": {"samples": 9, "low": [1, 2], "high": [1], "outside": 0}})", columns},
        {R"({"envelope": {"samples": 9, "low": [1, 2], "high": [1, 1], "outside": 0}})",
         "limits:2:56: rules[0].envelope.high[1]: is below low"},
        {R"({"envelope": {"samples": 1, "low": [1, 2], "high": [2, 2], "outside": 0}})", columns},
    };
    for (const auto& [rule, message] : rules) {
        EXPECT_EQ(Refusal(File(rule)), message) << rule;
    }
    EXPECT_EQ(Refusal(File(good)), "");
    EXPECT_THAT(Refusal(File("")), HasSubstr("rules: is empty"));
    EXPECT_THAT(Refusal(R"({"rules": []})"), HasSubstr("has no key schemaVersion"));
    EXPECT_THAT(Refusal(R"({"schemaVersion": {"major": 2, "minor": 0}, "rules": []})"),
                HasSubstr("major: 2"));
    // What is written can be read, and is the same.
    const auto limits =
        Parsed(good + R"(, {"product": "Q?", "command": "xk*", "channel": "0", "setting": "a b *",
                             "envelope": {"samples": 9, "low": [-9, 2], "high": [1, 5], "outside": 0.25},
                             "note": "é\"\n"}, {"measurement": "mean", "least": 0.1, "margin": 1e-3})");
    const QByteArray text = LimitsText(limits, "made by hand");
    EXPECT_EQ(LimitsText(ParseLimits("limits", text), "made by hand"), text);
    EXPECT_EQ(text.count('\n'), 5);
}

TEST(Limits, DecideByTheWorstMeasurement)
{
    const std::string rule =
        R"({"measurement": "noiseFloor", "least": 20, "most": 90, "margin": 5, "note": "the cable"})";
    const auto fits = [&rule](double value) {
        CLimits limits(Parsed(rule), "");
        Run_T run = PingWith({{"noiseFloor", value, "counts"}});
        limits.Apply(run);
        EXPECT_EQ(run.outcome, run.limits.at(0).fit == Fit::Bad ? Outcome::Failed : Outcome::Passed);
        return std::string(NameOf(run.limits.at(0).fit));
    };
    for (const auto& [value, fit] :
         {std::pair(19.9, "bad"), std::pair(20.0, "marginal"), std::pair(24.9, "marginal"),
          std::pair(25.0, "good"), std::pair(85.0, "good"), std::pair(85.1, "marginal"),
          std::pair(90.0, "marginal"), std::pair(90.1, "bad"), std::pair(std::nan(""), "bad")}) {
        EXPECT_EQ(fits(value), fit) << value;
    }
    const std::string two = rule + R"(, {"measurement": "offset", "least": 3})";
    EXPECT_EQ(Judged(PingWith({{"noiseFloor", 50, "counts"}, {"offset", 3}}), two), "passed");
    EXPECT_EQ(Judged(PingWith({{"noiseFloor", 50, "counts"}}), two),
              "not judged: offset is absent (limit: at least 3 counts)");
    const std::string bad = "failed: noiseFloor is 91 counts (limit: from 20 to 90 counts): the cable";
    EXPECT_EQ(Judged(PingWith({{"noiseFloor", 91, "counts"}}), two), bad)
        << "bad is certain, whatever is absent";
    EXPECT_EQ(Judged(PingWith({{"noiseFloor", 50, "counts"}, {"noiseFloor", 91, "counts"}}), rule), bad);
    // A run that is no good has its own reason.
    Run_T run = PingWith({{"noiseFloor", 91, "counts"}});
    run.outcome = Outcome::NotJudged;
    run.reason = "it contains unrecognised lines";
    EXPECT_EQ(Judged(run, two), "not judged: it contains unrecognised lines");
}

TEST(Limits, ShowNumbersWithEightDigits)
{
    Limit_T limit;
    for (const double factor : {1.0, 0.123456785, 1.5, 1.0 / 3, 9.99999994, 9.99999995, 9.9999999}) {
        for (int power = -7; power < 12; ++power) {
            for (const double sign : {-1.0, 1.0}) {
                limit.most = sign * factor * std::pow(10, power);
                std::string expected(32, ' ');
                char* const begin = expected.data();
                expected.resize(static_cast<std::size_t>(
                    std::to_chars(begin, begin + 32, limit.most, std::chars_format::general, 8).ptr - begin));
                EXPECT_EQ(RangeText(limit, {}), "at most " + expected);
            }
        }
    }
    limit.least = 0;
    limit.most = 65535;
    EXPECT_EQ(RangeText(limit, "counts"), "from 0 to 65535 counts");
}

TEST(Limits, AreForTheRunsThatTheyNameAndNoOtherPassesUnseen)
{
    const Run_T run = PingWith({{"mean", 9, "counts"}}, {"examples/short.txt", "1", "4"});
    const auto judged = [&run](const std::string& condition, const std::string& product = "QL4K") {
        return Judged(run, "{" + condition + R"("measurement": "mean", "most": 5})", product).substr(0, 45);
    };
    const std::string applies = "failed: mean is 9 counts (limit: at most 5 co";
    const std::string other = "not judged: there are limits for this command";
    for (const std::string condition :
         {"", R"("command": "xkping",)", R"("command": "*p?ng",)", R"("channel": "1",)",
          R"("setting": "examples/short.txt 1 4",)", R"("setting": "*short* 4",)", R"("product": "QL*",)"}) {
        EXPECT_EQ(judged(condition), applies) << condition;
    }
    for (const std::string condition : {R"("channel": "0",)", R"("setting": "*short*",  "channel": "0",)",
                                        R"("setting": "short.txt 1 4",)", R"("product": "QL5K",)"}) {
        EXPECT_EQ(judged(condition), other) << condition;
    }
    EXPECT_EQ(judged(R"("command": "ping",)"), "passed");
    EXPECT_EQ(judged(R"("product": "QL*",)", ""), "not judged: there are limits by product for t");
    EXPECT_EQ(Judged(run, R"({"measurement": "sensePin", "most": 5})"), "passed");
    // Limits are chosen once for each set-up.
    CLimits limits(Parsed(R"({"channel": "1", "measurement": "mean", "most": 5},
                             {"channel": "0", "measurement": "mean", "most": 10})"),
                   "");
    for (const char* const channel : {"0", "1", "0", "1"}) {
        Run_T ping = PingWith({{"mean", 9, "counts"}}, {"t", channel, "1"});
        limits.Apply(ping);
        EXPECT_EQ(ping.outcome, *channel == '0' ? Outcome::Passed : Outcome::Failed) << channel;
    }
    // A run file names its product, each its own.
    CLimits products(Parsed(R"({"product": "QL4K", "measurement": "mean", "most": 10},
                               {"product": "QL6M", "measurement": "mean", "most": 5})"),
                     "");
    for (const char* const product : {"QL4K", "QL6M", "QL4K"}) {
        Run_T ping = run;
        ping.record.product = product;
        products.Apply(ping);
        EXPECT_EQ(ping.outcome, product[2] == '4' ? Outcome::Passed : Outcome::Failed) << product;
    }
    const std::tuple<const char*, const char*, bool> globs[] = {
        {"", "", true},         {"*", "", true},        {"?", "", false},       {"a*b", "ab", true},
        {"a*b", "acbcb", true}, {"a*b", "acbc", false}, {"*ab*", "xaab", true}, {"a?c", "abc", true},
        {"abc", "abcd", false}, {"**a", "ba", true}};
    for (const auto& [glob, text, matches] : globs) {
        EXPECT_EQ(MatchesGlob(glob, text), matches) << glob << " " << text;
    }
}

TEST(Limits, AnEnvelopeIsHeldByTheMeansOfTheColumns)
{
    // Columns of 3, 2 and 2 samples, as the picture has them.
    const std::vector<std::int32_t> echo = {10, 20, 30, 1, 3, 0, 1};
    EXPECT_THAT(ColumnMeans(echo, 3), ElementsAre(20, 2, 0.5));
    EXPECT_THAT(ColumnMeans(echo, 7), ElementsAreArray(echo));
    const auto judged = [&echo](const std::string& samples, const std::string& low, const std::string& high,
                                const std::string& outside) {
        Run_T run = PingWith({});
        run.samples.values = echo;
        return Judged(run, R"({"envelope": {"samples": )" + samples + R"(, "low": )" + low + R"(, "high": )" +
                               high + R"(, "outside": )" + outside + "}}");
    };
    EXPECT_EQ(judged("7", "[20, 2, 0]", "[20, 2, 1]", "0"), "passed");
    EXPECT_EQ(judged("7", "[21, 2, 0]", "[22, 2, 0]", "0.5"),
              "failed: outsideBand is 0.66666667 (limit: at most 0.5)");
    EXPECT_EQ(judged("7", "[21, 2, 0]", "[22, 2, 1]", "0.5"), "passed");
    EXPECT_EQ(judged("8", "[20, 2, 0]", "[20, 2, 1]", "0"),
              "not judged: outsideBand is absent (limit: at most 0)");
}

TEST(Limits, EveryOutputShowsThem)
{
    CLimits limits(Parsed(R"({"measurement": "mean", "most": 5, "note": "<the>\u001b cable"},
                             {"measurement": "offset", "most": 5},
                             {"envelope": {"samples": 2, "low": [0, 0], "high": [9, 99], "outside": 0}})"),
                   "");
    Run_T run = PingWith({{"mean", 9, "counts"}});
    run.samples.values = {9, 9};
    limits.Apply(run);
    const std::string bad = "mean is 9 counts (limit: at most 5 counts): <the>\\x1b cable";
    const std::string escaped = "mean is 9 counts (limit: at most 5 counts): &lt;the&gt;\\x1b cable";
    const std::string text = Written("summary", {run});
    EXPECT_THAT(text, HasSubstr("failed: xkping: " + bad + "\n"));
    EXPECT_THAT(text, HasSubstr("\n  absent: offset is absent (limit: at most 5 counts)\n"));
    EXPECT_THAT(text, HasSubstr("\n  good: outsideBand is 0 (limit: at most 0)\n"));
    EXPECT_THAT(Written("plot", {run}), HasSubstr(bad));
    const std::string page = Written("html", {run});
    EXPECT_THAT(page, HasSubstr("<li class=\"bad\">bad: " + escaped + "</li>"));
    EXPECT_THAT(page, HasSubstr("<li class=\"good\">good: outsideBand is 0 (limit: at most 0)</li>"));
    EXPECT_THAT(page, HasSubstr("<path class=\"tolerance\""));
    const std::string junit = Written("junit", {run});
    EXPECT_THAT(junit, HasSubstr("<property name=\"limit.offset\" value=\"absent: offset is absent"));
    EXPECT_THAT(junit, HasSubstr("\nbad: " + escaped + "\nabsent: offset"));
    EXPECT_THAT(
        Written("json", {run}),
        HasSubstr(
            R"({"name":"mean","fit":"BAD","value":9,"most":5,"unit":"counts","note":"<the>\\x1b cable"},)"));
}

TEST(LearnedLimits, FitTheKindOfTheValues)
{
    std::vector<Run_T> runs;
    for (int unit = 0; unit < 100; ++unit) {
        runs.push_back(Good(unit,
                            {{"stuckLowBits", 2},
                             {"ringDownLength", 51, "samples"},
                             {"noiseSpread", 0.25 * (unit % 2), "counts"},
                             {"dropouts", unit == 7 ? 1.0 : 0.0},
                             {"clippedShare", 0},
                             {"quietShare", 0.01 * unit},
                             {"interferencePeriod", 2.0 + unit, "samples"},
                             {"noiseFloorDecibels", -60, "dBFS"},
                             {"largest", 65000.0 + 5 * unit, "counts"}},
                            std::vector<std::int32_t>(1000, unit)));
        if (unit > 0) {
            runs.back().measurements.push_back({"bottomPosition", 300, "samples"});
        }
    }
    const Learned_T learned = LearnedFrom(runs);
    EXPECT_EQ(RangeIn(learned, "stuckLowBits"), "from 2 to 2") << "a stuck bit is one more";
    EXPECT_EQ(RangeIn(learned, "ringDownLength"), "from 50 to 52") << "samples are whole";
    EXPECT_EQ(RangeIn(learned, "noiseSpread"), "at most 1.43") << "a median may be between two counts";
    EXPECT_EQ(RangeIn(learned, "dropouts"), "at most 1");
    EXPECT_EQ(RangeIn(learned, "clippedShare"), "at most 0.00131") << "one sample of 1,000";
    EXPECT_EQ(RangeIn(learned, "quietShare"), "none") << "every share is possible";
    EXPECT_EQ(RangeIn(learned, "noiseFloorDecibels"), "none") << "it depends on the receiver's law";
    EXPECT_THAT(RangeIn(learned, "largest"), StartsWith("at least 64")) << "65,535 is possible";
    EXPECT_EQ(RangeIn(learned, "bottomPosition"), "none");
    EXPECT_THAT(
        learned.remarks,
        IsSupersetOf({"xkping t 0 1: no limit for bottomPosition, which 1 run of 100 do not have",
                      "xkping t 0 1: no limit for quietShare, because every possible value would be good"}));
    const Limit_T& limit = learned.limits.front();
    EXPECT_EQ(limit.product + " " + limit.command + " " + limit.channel + " " + limit.setting,
              "QL4K xkping 0 t 0 1");
    EXPECT_EQ(LimitsText(LearnedFrom(runs).limits, ""), LimitsText(learned.limits, ""));
    EXPECT_EQ(Refusal(LimitsText(learned.limits, "").toStdString()), "");
}

TEST(LearnedLimits, ABadUnitAmongTheGoodOnesDoesNotPassAndIsNamed)
{
    std::mt19937 random(2);
    std::normal_distribution normal;
    std::vector<Run_T> runs;
    for (int unit = 0; unit < 100; ++unit) {
        const double level = (unit == 42 ? 100 : 1000) + 20 * normal(random);
        std::vector<std::int32_t> echo(640, unit == 42 ? 0 : 50);
        std::ranges::generate(std::span(echo).first(320),
                              [&] { return static_cast<int>(level + 9 * normal(random)); });
        runs.push_back(Good(unit, {{"bottomLevel", level, "counts"}}, echo));
    }
    Learned_T learned = LearnedFrom(runs);
    EXPECT_THAT(learned.remarks,
                IsSupersetOf({"unit42:1: bottomLevel would be bad by these limits; is the unit good?",
                              "unit42:1: outsideBand would be bad by these limits; is the unit good?"}));
    EXPECT_EQ(learned.remarks.size(), 3U) << "and no other unit";
    CLimits limits(std::move(learned.limits), "QL4K");
    for (Run_T& run : runs) {
        limits.Apply(run);
        EXPECT_EQ(run.outcome, run.transcript == "unit42" ? Outcome::Failed : Outcome::Passed) << run.reason;
    }
}

TEST(LearnedLimits, NeedEnoughGoodUnits)
{
    CLimitsLearner learner("", 0.001);
    for (int run = 0; run < 40; ++run) {
        learner.Take(Good(run % 19, {{"mean", 5.0, "counts"}}));
    }
    Run_T failed = Good(20, {});
    failed.outcome = Outcome::Failed;
    failed.reason = "no version";
    learner.Take(failed);
    EXPECT_THAT(
        learner.Objections(),
        ElementsAre("unit20:1: failed: no version",
                    "xkping t 0 1: limits need runs of at least 20 units, with a transcript for each; there "
                    "are 19"));
    // Of measurements that only a second ping has, limits are for second pings.
    std::vector<Run_T> runs;
    for (int unit = 0; unit < 20; ++unit) {
        runs.push_back(Good(unit, {{"mean", 5, "counts"}}, {5, 5}));
        runs.push_back(Good(unit, {{"mean", 5, "counts"}, {"repeatability", 1, "counts"}}, {5, 5}));
        runs.back().repetition = 1;
    }
    CLimits limits(LearnedFrom(runs).limits, "QL4K");
    for (Run_T& run : runs) {
        limits.Apply(run);
        EXPECT_EQ(run.outcome, Outcome::Passed) << run.reason;
        EXPECT_EQ(run.limits.size(), run.repetition + 2) << "one for each measurement, and the band";
    }
}
