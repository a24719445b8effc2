#pragma once

#include "station/results/Yield.h"

/// A rule for figures, by which a line raises an alarm.
struct YieldRule_T {
    std::string name;
    std::string meaning; ///< when it objects; for people
    /// How figures are compared with the bound that the user gives; Above zero for a rule without a bound.
    enum class Objects { Below, Above, AboveZero } objects = Objects::AboveZero;
    /// The figures that there are.
    void (*collect)(const YieldRule_T& rule, const YieldFigures_T& figures, std::vector<Alarm_T>& all);
};

/// A rule and its bound.
struct YieldCheck_T {
    const YieldRule_T& rule;
    double bound = 0;
};

/// The rules for --help.
std::string YieldRuleHelp();

/// @param text  rules with commas between them, such as "first-pass:0.95,beyond-3-sigma". @throw CUsageError
std::vector<YieldCheck_T> ParseYieldRules(const std::string& text);

/// Adds the figures that the rule objects to.
/// @return false: there is no such figure
bool Check(const YieldCheck_T& check, YieldFigures_T& figures);

/// "cpk 1.21 is below 1.33: QL4K xkping short.txt 0 1 noiseFloor"
std::string AlarmText(const Alarm_T& alarm);
