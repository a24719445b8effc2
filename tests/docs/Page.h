#pragma once

#include "tests/support/Texts.h"

/// The cells of one row.
using Row_T = Words_T;

/// The rows of the first table below a line of a page. The test fails if there are none.
std::vector<Row_T> TableBelow(const std::string& page, const std::string& line);

/// The parts of a text between separators, without surrounding blanks.
Words_T Split(const std::string& text, char separator);

/// The groups of each match of a regular expression.
std::vector<Row_T> Matches(const std::string& text, const std::string& expression);

/// The text between two texts, the first of each. The test fails if one is missing.
std::string Between(const std::string& text, const std::string& begin, const std::string& end);

/// The output of a shell script. The test fails if the script does.
std::string Printed(const std::string& script);

/// What the completion offers for the last of these words, as bash's readline splits them.
Words_T Offered(const Words_T& words);
