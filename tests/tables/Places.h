#pragma once

#include <set>
#include <string>
#include <vector>

/// A place that must know each row of a table.
struct Place_T {
    std::string file; ///< from the repository's root
    std::string what; ///< that is to be written there
    std::set<std::string> names;
    bool knowsMore = false; ///< names without a row are allowed
};

/// Fails once for each row that a place lacks and names all these places; fails also for a row that is there
/// twice, and for a name that no row has.
/// @param kind   what a row is, for the message
/// @param table  the file that has the table
void ExpectKnownEverywhere(const std::string& kind, const std::string& table,
                           const std::vector<std::string>& rows, const std::vector<Place_T>& places);

/// What the first group of a regular expression matches in a text.
std::set<std::string> Found(const std::string& text, const std::string& expression);
