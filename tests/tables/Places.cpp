#include "tests/tables/Places.h"

#include "tests/docs/Page.h"

#include <gtest/gtest.h>

#include <algorithm>

void ExpectKnownEverywhere(const std::string& kind, const std::string& table, const Words_T& rows,
                           const std::vector<Place_T>& places)
{
    EXPECT_FALSE(rows.empty()) << table << " has no " << kind;
    const Names_T known(rows.begin(), rows.end());
    for (const std::string& row : known) {
        if (std::ranges::count(rows, row) > 1) {
            ADD_FAILURE() << kind << " \"" << row << "\" is in " << table << " more than once";
        }
        std::string missing;
        for (const Place_T& place : places) {
            missing += place.names.contains(row) ? "" : "\n    " + place.file + " (" + place.what + ")";
        }
        if (!missing.empty()) {
            ADD_FAILURE() << kind << " \"" << row << "\" of " << table << " is missing from:" << missing;
        }
    }
    for (const Place_T& place : places) {
        for (const std::string& name : place.names) {
            if (!place.knowsMore && !known.contains(name)) {
                ADD_FAILURE() << place.file << " has the " << kind << " \"" << name << "\", which is not in "
                              << table;
            }
        }
    }
}

Names_T Found(const std::string& text, const std::string& expression)
{
    Names_T found;
    for (const Row_T& match : Matches(text, expression)) {
        found.insert(match.front());
    }
    return found;
}
