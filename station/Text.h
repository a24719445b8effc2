#pragma once

#include <QString>

#include <string_view>

struct Run_T;

/// Bytes of a transcript to be shown: valid UTF-8 as it is; a byte that is none, and a control byte, as \xNN.
QString PrintableText(std::string_view bytes);

/// Where a run begins, to be shown: "transcript.txt:12".
QString TitleOf(const Run_T& run);
