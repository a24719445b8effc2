#include "station/transcript/PrintableText.h"

#include <QStringDecoder>

#include <algorithm>
#include <cstddef>

using namespace Qt::StringLiterals;

namespace
{
/// Number of characters at the beginning that are ASCII and printable.
std::size_t PlainLength(std::string_view bytes)
{
    const auto special = std::ranges::find_if(bytes, [](char byte) { return byte < ' ' || byte > '~'; });
    return static_cast<std::size_t>(special - bytes.begin());
}

/// Length of the UTF-8 sequence that begins with a byte; 0: none does.
std::size_t SequenceLength(unsigned char first)
{
    return first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
}

/// False for what XML does not allow or people do not see: C1 controls, U+FFFE and U+FFFF, and characters
/// that reorder or join others.
bool IsShown(const QString& text)
{
    if (text.isEmpty()) {
        return false;
    }
    const char16_t first = text.front().unicode();
    return !(first >= 0x80 && first < 0xA0) && first < 0xFFFE &&
           QChar(first).category() != QChar::Other_Format;
}
} // namespace

void AppendPrintable(std::string& text, std::string_view bytes)
{
    const std::size_t plain = PlainLength(bytes);
    text += bytes.substr(0, plain);
    if (plain < bytes.size()) {
        text += PrintableText(bytes.substr(plain)).toStdString();
    }
}

QString PrintableText(std::string_view bytes)
{
    QString text;
    text.reserve(static_cast<qsizetype>(bytes.size()));
    for (;;) {
        const std::size_t plain = PlainLength(bytes);
        text += QLatin1StringView(bytes.data(), static_cast<qsizetype>(plain));
        bytes.remove_prefix(plain);
        if (bytes.empty()) {
            return text;
        }
        const std::size_t length = SequenceLength(static_cast<unsigned char>(bytes.front()));
        if (length > 1 && length <= bytes.size()) {
            QStringDecoder decoder(QStringDecoder::Utf8,
                                   QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
            const QString character =
                decoder.decode(QByteArrayView(bytes.data(), static_cast<qsizetype>(length)));
            if (!decoder.hasError() && IsShown(character)) {
                text += character;
                bytes.remove_prefix(length);
                continue;
            }
        }
        text += "\\x"_L1 + QLatin1StringView(QByteArray(1, bytes.front()).toHex());
        bytes.remove_prefix(1);
    }
}
