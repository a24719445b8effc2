#include "station/results/YieldRules.h"

#include "station/output/Text.h"
#include "tools/CommandLine.h"
#include "tools/Program.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace
{
using Objects = YieldRule_T::Objects;

Alarm_T Figure(double value, Bytes_T subject) { return {{}, 0, value, std::move(subject)}; }

template <Share_T Yield_T::*c_Share>
void CollectYields(const YieldRule_T&, const YieldFigures_T& figures, std::vector<Alarm_T>& all)
{
    const auto add = [&all](const Yield_T& yield, const Bytes_T& subject) {
        if ((yield.*c_Share).all > 0) {
            all.push_back(Figure((yield.*c_Share).Value(), subject));
        }
    };
    add(figures.total, "all units");
    for (const Yield_T& group : figures.groups) {
        add(group, GroupText(figures, group).toStdString());
    }
}

void CollectCpks(const YieldRule_T&, const YieldFigures_T& figures, std::vector<Alarm_T>& all)
{
    for (const Series_T& series : figures.series) {
        if (series.cpk) {
            all.push_back(Figure(*series.cpk, TitleOf(series)));
        }
    }
}

void CollectDrifts(const YieldRule_T&, const YieldFigures_T& figures, std::vector<Alarm_T>& all)
{
    for (const Series_T& series : figures.series) {
        for (const StationSpread_T& station : series.stations) {
            if (station.drift) {
                all.push_back(
                    Figure(std::abs(*station.drift), TitleOf(series) + ", station " + station.name));
            }
        }
    }
}

void CollectSignals(const YieldRule_T& rule, const YieldFigures_T& figures, std::vector<Alarm_T>& all)
{
    for (const Series_T& series : figures.series) {
        if (series.chart) {
            const auto* const row = std::ranges::find(c_ControlRules, rule.name, &ControlRule_T::name);
            const std::size_t count = CountSignals(series, *row);
            all.push_back(Figure(static_cast<double>(count), TitleOf(series)));
        }
    }
}

const std::vector<YieldRule_T>& Rules()
{
    static const std::vector<YieldRule_T> rules = [] {
        std::vector<YieldRule_T> all = {
            {"first-pass", "the first-pass yield, 0 to 1, of all units or of a group is below",
             Objects::Below, CollectYields<&Yield_T::firstPass>},
            {"final", "the final yield, 0 to 1, of all units or of a group is below", Objects::Below,
             CollectYields<&Yield_T::final>},
            {"cpk", "the Cpk of a measurement is below", Objects::Below, CollectCpks},
            {"drift", "a station differs from the others by more standard errors than", Objects::Above,
             CollectDrifts}};
        for (const ControlRule_T& rule : c_ControlRules) {
            all.push_back({rule.name, rule.meaning, Objects::AboveZero, CollectSignals});
        }
        return all;
    }();
    return rules;
}

std::string TypedForm(const YieldRule_T& rule)
{
    return rule.name + (rule.objects == Objects::AboveZero ? "" : ":VALUE");
}

const YieldRule_T& RuleOf(const std::string& name)
{
    const auto rule = std::ranges::find(Rules(), name, &YieldRule_T::name);
    if (rule == Rules().end()) {
        std::vector<std::string> names;
        std::ranges::transform(Rules(), std::back_inserter(names), &YieldRule_T::name);
        throw CUsageError("unknown rule " + name + DidYouMean(name, names));
    }
    return *rule;
}

YieldCheck_T Parse(const std::string& text)
{
    const std::size_t colon = text.find(':');
    YieldCheck_T check{.rule = RuleOf(text.substr(0, colon))};
    const bool takesBound = check.rule.objects != Objects::AboveZero;
    bool isRight = takesBound == (colon != std::string::npos);
    if (isRight && takesBound) {
        const char* const end = text.data() + text.size();
        const auto read = std::from_chars(text.data() + colon + 1, end, check.bound);
        isRight = read.ec == std::errc() && read.ptr == end && std::isfinite(check.bound);
    }
    if (!isRight) {
        throw CUsageError("--check takes the rule as " + TypedForm(check.rule) + ", not \"" + text + "\"");
    }
    return check;
}
} // namespace

std::string YieldRuleHelp()
{
    std::string text = "\nRules of --check, with commas between them; each objects if\n";
    for (const YieldRule_T& rule : Rules()) {
        text += "  " + TypedForm(rule).append(18 - TypedForm(rule).size(), ' ') + rule.meaning +
                (rule.objects == Objects::AboveZero ? "\n" : " VALUE\n");
    }
    return text;
}

std::vector<YieldCheck_T> ParseYieldRules(const std::string& text)
{
    std::vector<YieldCheck_T> checks;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        checks.push_back(Parse(text.substr(begin, end - begin)));
        begin = end + 1;
    }
    return checks;
}

bool Check(const YieldCheck_T& check, YieldFigures_T& figures)
{
    std::vector<Alarm_T> all;
    check.rule.collect(check.rule, figures, all);
    for (Alarm_T& alarm : all) {
        if (check.rule.objects == Objects::Below ? alarm.value < check.bound : alarm.value > check.bound) {
            alarm.rule = check.rule.name;
            alarm.bound = check.bound;
            figures.alarms.push_back(std::move(alarm));
        }
    }
    return !all.empty();
}

std::string AlarmText(const Alarm_T& alarm)
{
    const Objects objects = RuleOf(alarm.rule).objects;
    const std::string value = NumberText(alarm.value).toStdString();
    const std::string bound = NumberText(alarm.bound).toStdString();
    return alarm.rule + ": " + alarm.subject + ": " +
           (objects == Objects::AboveZero
                ? value + (alarm.value == 1 ? " time" : " times")
                : value + (objects == Objects::Below ? " is below " : " is above ") + bound);
}
