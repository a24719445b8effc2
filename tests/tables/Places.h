#pragma once

#include "tests/support/Texts.h"

#include <set>

using Names_T = std::set<std::string>;

/// A place that must know each row of a table.
struct Place_T {
    std::string file; ///< from the repository's root
    std::string what; ///< that is to be written there
    Names_T names;
    bool knowsMore = false; ///< names without a row are allowed
};

/// Fails once for each row that a place lacks and names all these places; fails also for a row that is there
/// twice, and for a name that no row has.
/// @param kind   what a row is, for the message
/// @param table  the file that has the table
void ExpectKnownEverywhere(const std::string& kind, const std::string& table, const Words_T& rows,
                           const std::vector<Place_T>& places);

inline Words_T RowsOf(const Names_T& names) { return {names.begin(), names.end()}; }

/// What the first group of a regular expression matches in a text.
Names_T Found(const std::string& text, const std::string& expression);
