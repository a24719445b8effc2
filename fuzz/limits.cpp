// Limits files of arbitrary bytes: each is refused with a message, or is the same after it was written, and
// judges runs. After an L, the bytes are measurements of good units instead, and the limits that are learned
// from them are a good file.

#include "station/judge/Limits.h"
#include "fuzz/EveryFormat.h"
#include "station/judge/LearnLimits.h"
#include "station/judge/Measurements.h"

#include <cmath>
#include <stdexcept>

namespace
{
/// A run with every measurement, each as near to the value as it can be.
Run_T Measured(const char* command, const std::vector<Bytes_T>& arguments, double value)
{
    Run_T run;
    run.command = command;
    run.arguments = arguments;
    run.outcome = Outcome::Passed;
    run.samples.values = {3, 1, 4, 1, 5, 9, 2, 6};
    for (const MeasurementRow_T& row : MeasurementRows()) {
        // Pictures mark places, which are in the echo.
        const double most = std::string_view(row.unit) == "samples" ? 7 : row.most;
        run.measurements.push_back({row.name, std::clamp(value, row.least, most), row.unit});
    }
    return run;
}

void JudgeBy(const std::vector<Limit_T>& limits)
{
    CLimits judge(limits, "QL4K");
    CEveryFormat formats;
    for (const double value : {0.0, -1e6, 80.0}) {
        for (Run_T run : {Measured("xkping", {"examples/short.txt", "0", "1"}, value),
                          Measured("sensepin", {}, value), Measured("nonsense", {}, value)}) {
            judge.Apply(run);
            const auto has = [&run](Fit fit) {
                return std::ranges::find(run.limits, fit, &LimitResult_T::fit) != run.limits.end();
            };
            Require((run.outcome == Outcome::Failed) == has(Fit::Bad),
                    "exactly a bad measurement is a failure");
            Require(run.outcome != Outcome::Passed || !has(Fit::Absent),
                    "a run without a measurement never passes");
            formats.Write(run);
        }
    }
    formats.Check();
}

void Learn(CFuzzInput& input)
{
    CLimitsLearner learner("QL4K", 1e-6 + input.Byte() / 2560.0);
    const auto rows = MeasurementRows();
    const MeasurementRow_T& row = input.OneOf(rows);
    if (!CanMeasure(*TextOf("xkping"), row.name)) {
        return;
    }
    const double scale = std::pow(10, input.Byte() % 16 - 8);
    const unsigned int pattern = input.Byte();
    const bool isCommon = input.Byte() % 2 == 0;
    std::vector<Run_T> runs;
    for (int unit = 0; unit < 24; ++unit) {
        Run_T run = Measured("xkping", {}, 0);
        run.transcript = std::to_string(unit);
        run.repetition = unit % 2 == 0 ? 0 : 1;
        run.measurements.clear();
        const double value = static_cast<std::int16_t>(input.Word()) * scale;
        if (isCommon || (pattern >> unit % 8 & 1U) != 0) {
            run.measurements.push_back({row.name, std::clamp(value, row.least, row.most), row.unit});
        }
        for (std::int32_t& sample : run.samples.values) {
            sample = input.Word();
        }
        runs.push_back(std::move(run));
    }
    for (const Run_T& run : runs) {
        learner.Take(run);
    }
    Require(learner.Objections().empty(), "good runs of enough units are taken");
    const Learned_T learned = learner.Learn();
    if (learned.limits.empty()) {
        return;
    }
    const auto read = ParseLimits("learned", LimitsText(learned.limits, "n"));
    std::size_t bad = 0;
    CLimits judge(read, "QL4K");
    for (Run_T& run : runs) {
        judge.Apply(run);
        bad += run.outcome == Outcome::Passed ? 0 : 1;
        Require(run.outcome != Outcome::NotJudged,
                "learned limits can judge the runs that they were learned from");
    }
    Require(bad <= runs.size() / 2, "learned limits do not reject most of the good runs");
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    if (size > 0 && *pData == 'L') {
        CFuzzInput input(pData + 1, size - 1);
        Learn(input);
        return 0;
    }
    const QByteArray text(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(size));
    std::vector<Limit_T> limits;
    try {
        limits = ParseLimits("limits", text);
    } catch (const std::runtime_error& error) {
        RequireMessage(error.what());
        return 0;
    }
    const QByteArray written = LimitsText(limits, "n");
    Require(LimitsText(ParseLimits("written", written), "n") == written, "what is written can be read");
    JudgeBy(limits);
    return 0;
}
