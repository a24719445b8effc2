#pragma once

#include "station/transcript/PrintableText.h"

#include <cstdint>
#include <string>
#include <string_view>

struct Quantity_T;
struct Run_T;
struct Summary_T;

/// Appends PrintableText() as UTF-8 for XML and HTML, in which it may also be an attribute's value.
void AppendMarkup(std::string& text, std::string_view bytes);

/// "run" for 1, otherwise "runs".
QString Plural(std::uint64_t count, const QString& noun);

/// A number for people and programs.
/// @param digits  at most so many, 1 to 17
QString NumberText(double number);
std::string NumberBytes(double number, int digits = 8);
/// "noiseFloor 49.4 counts"
QString QuantityText(const Quantity_T& quantity);

/// Where a run begins: "transcript.txt:12".
QString TitleOf(const Run_T& run);

/// The unit's serial number in a run file; otherwise the name of the transcript without its extensions,
/// because the program prints a serial number only after a failure. Empty: not known.
std::string UnitOf(const Run_T& run);

/// The command line without the program's name.
std::string TestOf(const Run_T& run);

/// The line of a run, a line for each of its limits, and its unrecognised lines; printable, in UTF-8.
/// @param isColoured  the outcome and the fits have a colour
std::string SummaryText(const Run_T& run, bool isColoured = false);
/// The counts in one line.
QString SummaryText(const Summary_T& summary);
