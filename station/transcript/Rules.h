#pragma once

#include "station/transcript/Commands.h"
#include "station/transcript/Pattern.h"

#include <span>

/// What a line says about the test.
enum class Effect {
    None,
    Fault,   ///< something of the unit failed
    Untested ///< the test was not carried out, so nothing can be said about the unit
};

/// Text without a rule that may follow a line.
enum class Free {
    Nothing,
    Path,   ///< a path on the next line; further output may follow it without a line end
    Output, ///< a script's output, from this line on; further output may follow it without a line end
    Reading ///< contents of a file of the unit
};

/// Puts what a line holds into the run; false: the rule does not fit after all.
using Take_T = bool(Run_T& run, const Captures_T& captures);

/// A line that the program can print.
struct Rule_T {
    Place place;
    /// Lines with a step come in its order, each once; those with step 0 anywhere, any number of times.
    int step = 0;
    std::string_view pattern; ///< of Match()
    unsigned int evidence = 0;
    unsigned int blanks = 0; ///< empty lines before it
    Effect effect = Effect::None;
    bool repeats = false; ///< can be there several times in its step
    bool isEnd = false;   ///< the run ended with it, and not with a verdict
    Free next = Free::Nothing;
    Take_T* take = nullptr; ///< null: the line is a message
    std::string_view beginning =
        {}; ///< of the pattern, before the first placeholder; the table of all rules sets it
};

std::span<const Rule_T> Rules();
/// The rules that can match a line with its first character, in the order of all.
std::span<const Rule_T* const> RulesFor(std::string_view line);

/// False if the rule's pattern cannot match; quick, because most lines are compared with many rules.
inline bool CanMatch(const Rule_T& rule, std::string_view text)
{
    const std::string_view beginning = rule.beginning;
    // Many messages begin alike, few have the same last character at the same place.
    return beginning.empty() ||
           (text.size() >= beginning.size() && text[beginning.size() - 1] == beginning.back() &&
            text.starts_with(beginning));
}

inline std::optional<Captures_T> MatchRule(const Rule_T& rule, std::string_view text)
{
    if (rule.beginning.size() == rule.pattern.size()) {
        return text == rule.pattern ? std::optional(Captures_T()) : std::nullopt;
    }
    return CanMatch(rule, text) ? Match(rule.pattern, text) : std::nullopt;
}

/// The offset, from 1, of the first text in the line that can come before a report; the line's length if
/// there is none. A path has no end mark, so such a text can follow it on the same line.
std::size_t NextRuleText(std::string_view line);

/// The line above a report's command line; it can follow text without a line end.
inline constexpr std::string_view c_Header = "---------------------------------------------------";
/// The line above what a test found.
inline constexpr std::string_view c_TestOutput = "Test Output: ";

/// Whether hardly anything but the program prints a line that begins so.
bool IsOfProgram(std::string_view line);

/// A last line, without its end.
struct VerdictLine_T {
    std::string_view text;
    Verdict verdict;
};
std::span<const VerdictLine_T> VerdictLines();
