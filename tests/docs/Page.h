#pragma once

#include <string>
#include <vector>

/// The cells of one row.
using Row_T = std::vector<std::string>;

/// The rows of the first table below a line of a page; none is a failure.
std::vector<Row_T> TableBelow(const std::string& page, const std::string& line);

/// The parts of a text between separators, without blanks around them.
std::vector<std::string> Split(const std::string& text, char separator);

/// All matches of a regular expression: its groups, each.
std::vector<Row_T> Matches(const std::string& text, const std::string& expression);

/// What stands between two texts, the first of each; that one is missing is a failure.
std::string Between(const std::string& text, const std::string& begin, const std::string& end);

/// What a shell program prints; that it fails is a failure.
std::string Printed(const std::string& script);
