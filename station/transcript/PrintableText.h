#pragma once

#include <QString>

#include <string_view>

/// Bytes of a transcript for people: valid UTF-8 as it is, control bytes and all others as \xNN.
QString PrintableText(std::string_view bytes);
