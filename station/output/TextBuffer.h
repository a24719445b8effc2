#pragma once

#include <QIODevice>

#include <charconv>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

/// Text on its way to a device, in UTF-8: appending costs next to nothing, and the device gets large pieces.
class CTextBuffer
{
public:
    /// @param output  must outlive this
    explicit CTextBuffer(QIODevice& output) : m_Output(output) {}

    void Append(char character)
    {
        Reserve(1);
        *m_pTo++ = character;
    }
    /// UTF-8, written as it is.
    void Append(std::string_view text)
    {
        Reserve(text.size());
        std::memcpy(m_pTo, text.data(), text.size());
        m_pTo += text.size();
    }
    template <class Number>
    void Append(Number number) requires(std::is_arithmetic_v<Number> && !std::is_same_v<Number, char> &&
                                        !std::is_same_v<Number, bool>)
    {
        constexpr std::size_t longest = 32; // enough for the shortest form of every number
        Reserve(longest);
        m_pTo = std::to_chars(m_pTo, m_pEnd, number).ptr;
    }
    /// The shortest text that is read as the same number.
    void Append(double number);
    /// Numbers with a character between them.
    void Append(std::span<const std::int32_t> numbers, char separator);
    /// Bytes of a transcript as PrintableText(), between quotation marks. The escape comes before each
    /// character that is escaped, and before itself.
    void AppendQuoted(std::string_view bytes, char escaped, char escape);

    /// Where so many characters can be written. Advance() must follow.
    char* Room(std::size_t size)
    {
        Reserve(size);
        return m_pTo;
    }
    /// Takes what was written at Room().
    /// @param pEnd  after the last character
    void Advance(char* pEnd) { m_pTo = pEnd; }

    /// Gives everything to the device.
    void Flush();

private:
    void Reserve(std::size_t size)
    {
        if (static_cast<std::size_t>(m_pEnd - m_pTo) < size) {
            MakeRoom(size);
        }
    }
    void MakeRoom(std::size_t size);
    void AppendQuotedText(std::string_view text, char escaped, char escape);

    QIODevice& m_Output;
    std::string m_Text;
    char* m_pTo = nullptr;
    char* m_pEnd = nullptr;
};

/// Writes a JSON value into a buffer, piece by piece. Commas are its own.
class CJsonText
{
public:
    explicit CJsonText(CTextBuffer& buffer) : m_Buffer(buffer) {}

    /// The name of the next value. Names are ASCII that needs no escape.
    CJsonText& Name(std::string_view name)
    {
        char* const pTo = PutQuoted(m_Buffer.Room(name.size() + c_Marks), name);
        *pTo = ':';
        m_Buffer.Advance(pTo + 1);
        m_NeedsComma = false;
        return *this;
    }
    /// A text of the program's own, which needs no escape, either.
    void Constant(std::string_view text)
    {
        m_Buffer.Advance(PutQuoted(m_Buffer.Room(text.size() + c_Marks), text));
        m_NeedsComma = true;
    }
    void Begin(char bracket)
    {
        char* const pTo = PutComma(m_Buffer.Room(2));
        *pTo = bracket;
        m_Buffer.Advance(pTo + 1);
        m_NeedsComma = false;
    }
    void End(char bracket)
    {
        m_Buffer.Append(bracket);
        m_NeedsComma = true;
    }

    template <class Number>
    void Value(Number number) requires(std::is_arithmetic_v<Number> && !std::is_same_v<Number, bool>)
    {
        Separate();
        m_Buffer.Append(number);
    }
    void Value(bool isTrue);
    /// Bytes of a transcript.
    void Value(std::string_view bytes);
    void Value(std::span<const std::int32_t> numbers);
    /// The name and the value, unless that is empty.
    void Optional(std::string_view name, std::string_view bytes)
    {
        if (!bytes.empty()) {
            Name(name).Value(bytes);
        }
    }

private:
    static constexpr std::size_t c_Marks = 4; ///< comma, quotation marks and colon

    char* PutComma(char* pTo) const
    {
        *pTo = ',';
        return m_NeedsComma ? pTo + 1 : pTo;
    }
    char* PutQuoted(char* pTo, std::string_view text) const
    {
        pTo = PutComma(pTo);
        *pTo++ = '"';
        std::memcpy(pTo, text.data(), text.size());
        pTo += text.size();
        *pTo = '"';
        return pTo + 1;
    }
    void Separate()
    {
        if (m_NeedsComma) {
            m_Buffer.Append(',');
        }
        m_NeedsComma = true;
    }

    CTextBuffer& m_Buffer;
    bool m_NeedsComma = false;
};
