#include "station/output/TextBuffer.h"

#include "station/output/Text.h"

#include <algorithm>
#include <array>

namespace
{
constexpr std::size_t c_BufferSize = std::size_t{256} * 1024;
constexpr std::int32_t c_CommonNumbers = 1000;

/// The digits of a number below c_CommonNumbers.
struct Digits_T {
    std::array<char, 4> text; ///< and room for one character behind them
    std::uint8_t length;
};

constexpr std::array<Digits_T, c_CommonNumbers> MakeDigits()
{
    std::array<Digits_T, c_CommonNumbers> all{};
    for (std::size_t number = 0; number < all.size(); ++number) {
        const std::array<char, 3> digits = {static_cast<char>('0' + number / 100),
                                            static_cast<char>('0' + number / 10 % 10),
                                            static_cast<char>('0' + number % 10)};
        const std::size_t first = number >= 100 ? 0U : number >= 10 ? 1U : 2U;
        for (std::size_t i = first; i < digits.size(); ++i) {
            all[number].text[i - first] = digits[i];
        }
        all[number].length = static_cast<std::uint8_t>(digits.size() - first);
    }
    return all;
}
constexpr auto c_Digits = MakeDigits();

/// Not 0 if one of eight characters is another one or is not printable ASCII.
std::uint64_t SpecialBits(std::uint64_t eight, char other)
{
    // Subtracting sets the highest bit of a character that is smaller; adding, of DEL.
    constexpr std::uint64_t ones = 0x0101'0101'0101'0101;
    const std::uint64_t different = eight ^ (ones * static_cast<unsigned char>(other));
    return (eight | (eight - ones * ' ') | (eight + ones) | (different - ones)) & (ones << 7);
}
} // namespace

void CTextBuffer::MakeRoom(std::size_t size)
{
    Flush();
    m_Text.resize(std::max({m_Text.size(), size, c_BufferSize}));
    m_pTo = m_Text.data();
    m_pEnd = m_pTo + m_Text.size();
}

void CTextBuffer::Flush()
{
    if (m_pTo != m_Text.data() && m_pTo != nullptr) {
        m_Output.write(m_Text.data(), m_pTo - m_Text.data());
        m_pTo = m_Text.data();
    }
}

void CTextBuffer::Append(double number)
{
    constexpr double most = 100'000; // which is shorter as 1e+05
    constexpr std::size_t longest = 32;
    const bool isSmall = number > 0 && number < most;
    const std::int32_t whole = isSmall ? static_cast<std::int32_t>(number) : 0;
    if (isSmall && whole == number) {
        return Append(whole);
    }
    Reserve(longest);
    m_pTo = std::to_chars(m_pTo, m_pEnd, number).ptr;
}

void CTextBuffer::Append(std::span<const std::int32_t> numbers, char separator)
{
    constexpr std::size_t longest = 12;
    Reserve(numbers.size() * longest + 1);
    char* pTo = m_pTo;
    for (const std::int32_t number : numbers) {
        if (number >= 0 && number < c_CommonNumbers) {
            // Four characters at once are faster than as many as there are.
            const Digits_T& digits = c_Digits[static_cast<std::size_t>(number)];
            std::ranges::copy(digits.text, pTo);
            pTo += digits.length;
        } else {
            pTo = std::to_chars(pTo, m_pEnd, number).ptr;
        }
        *pTo++ = separator;
    }
    m_pTo = numbers.empty() ? pTo : pTo - 1;
}

void CTextBuffer::AppendQuoted(std::string_view bytes, char escaped, char escape)
{
    // Copied before it is looked at, with blanks after it, so that whole words can be compared.
    constexpr std::size_t word = sizeof(std::uint64_t);
    char* const pText = Room(bytes.size() + word + 2) + 1;
    std::memcpy(pText, bytes.data(), bytes.size());
    std::memset(pText + bytes.size(), ' ', word);
    std::uint64_t special = 0;
    for (std::size_t at = 0; at < bytes.size(); at += word) {
        std::uint64_t eight = 0;
        std::memcpy(&eight, pText + at, word);
        special |= SpecialBits(eight, escaped) | SpecialBits(eight, escape);
    }
    if (special == 0) {
        pText[-1] = '"';
        pText[bytes.size()] = '"';
        return Advance(pText + bytes.size() + 1);
    }
    Reserve(2 * bytes.size() + 2);
    char* pTo = m_pTo;
    *pTo++ = '"';
    for (const char byte : bytes) {
        if (byte < ' ' || byte > '~') {
            const QByteArray text = PrintableText(bytes).toUtf8();
            return AppendQuotedText({text.data(), static_cast<std::size_t>(text.size())}, escaped, escape);
        }
        if (byte == escaped || byte == escape) {
            *pTo++ = escape;
        }
        *pTo++ = byte;
    }
    *pTo++ = '"';
    m_pTo = pTo;
}

void CTextBuffer::AppendQuotedText(std::string_view text, char escaped, char escape)
{
    Append('"');
    for (const char byte : text) {
        if (byte == escaped || byte == escape) {
            Append(escape);
        }
        Append(byte);
    }
    Append('"');
}

void CJsonText::Value(bool isTrue)
{
    Separate();
    m_Buffer.Append(std::string_view(isTrue ? "true" : "false"));
}

void CJsonText::Value(std::string_view bytes)
{
    Separate();
    m_Buffer.AppendQuoted(bytes, '"', '\\');
}

void CJsonText::Value(std::span<const std::int32_t> numbers)
{
    Separate();
    m_Buffer.Append('[');
    m_Buffer.Append(numbers, ',');
    m_Buffer.Append(']');
}
