#pragma once

#include "station/Judgement.h"
#include "station/Pattern.h"

#include <span>

/// A run that is being read.
struct OpenRun_T {
    Run_T run;
    Facts_T facts;
};

/// Where a line may stand.
enum class Place {
    Before, ///< printed while the test ran, above the report
    Report, ///< between "Test Output: " and the verdict
    Aside   ///< standard error, which may come in between anywhere
};

/// What a line says about the test.
enum class Effect {
    None,
    Fault,   ///< something of the unit failed
    Untested ///< the test could not be made, so nothing can be said about the unit
};

/// What may stand behind a line, although no rule knows it.
enum class Free {
    Nothing,
    Path,   ///< on the next line, and whatever is printed next goes on behind it
    Output, ///< of a script: it begins on this line, and whatever is printed next goes on behind it
    Reading ///< contents of a file of the unit
};

/// A line that the program can print.
struct Rule_T {
    Place place;
    /// Rules with a step stand in its order, each once; those with step 0 anywhere, any number of times.
    int step = 0;
    std::string_view pattern; ///< of Match()
    unsigned int evidence = 0;
    unsigned int blanks = 0; ///< empty lines above it
    Effect effect = Effect::None;
    bool repeats = false; ///< may stand several times in its step
    bool isEnd = false;   ///< the run ended with it, and not with a verdict
    Free next = Free::Nothing;
    /// Puts what the line holds into the run; false: the line is none of these after all. Null: the line is a
    /// message.
    bool (*take)(OpenRun_T&, const Captures_T&) = nullptr;
};

std::span<const Rule_T> Rules();

/// Where, behind its first byte, a line goes on with a text of a rule that can stand above a report; the
/// line's length when it does not. A name of a file has no end of its own.
std::size_t NextRuleText(std::string_view line);

/// A last line, without its end.
struct VerdictLine_T {
    std::string_view text;
    Verdict verdict;
};
std::span<const VerdictLine_T> VerdictLines();
