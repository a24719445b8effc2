#pragma once

#include "station/judge/Limits.h"

#include <QByteArray>

// The format of limits files, station/limits.schema.json. What is wrong in a file is thrown as
// std::runtime_error with its line and column; so is a limit that no run can meet or miss.

/// @return at least one limit
std::vector<Limit_T> ReadLimits(const std::string& file);

/// @param file  for messages
std::vector<Limit_T> ParseLimits(const std::string& file, const QByteArray& json);

/// The text of a limits file, with a line for each limit.
/// @param note  for people, about the file
QByteArray LimitsText(std::span<const Limit_T> limits, const Bytes_T& note);
