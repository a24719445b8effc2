#pragma once

#include <QString>

#include <string_view>

/// Bytes of a transcript to be shown: valid UTF-8 as it is; a byte that is none, and a control byte, as \xNN.
QString PrintableText(std::string_view bytes);
