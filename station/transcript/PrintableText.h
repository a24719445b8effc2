#pragma once

#include <QString>

#include <string>
#include <string_view>

/// Bytes of a transcript for people: valid UTF-8 as it is, control bytes and all others as \xNN.
QString PrintableText(std::string_view bytes);
/// Appends the same as UTF-8.
void AppendPrintable(std::string& text, std::string_view bytes);
