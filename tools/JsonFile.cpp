#include "tools/JsonFile.h"

#include "tools/BoundedFile.h"
#include "tools/Program.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <cstring>
#include <set>
#include <stdexcept>

namespace
{
constexpr std::size_t c_MostBytes = std::size_t{1} << 20;
// Each value takes much more memory than its text, also for the path to it.
constexpr std::size_t c_MostValues = 20'000;
constexpr std::size_t c_MostLevels = 16;

std::string NumberText(double number) { return QByteArray::number(number, 'g', 12).toStdString(); }
} // namespace

/// Reads a text that Qt accepts as JSON. Qt keeps neither places nor duplicate keys.
class CJsonReader
{
public:
    CJsonReader(const std::string& file, const QByteArray& text)
        : m_File(std::make_shared<const std::string>(file)), m_Text(text)
    {
    }

    CJsonValue Read()
    {
        QJsonParseError error;
        if (QJsonDocument::fromJson(m_Text, &error); error.error != QJsonParseError::NoError) {
            while (m_Place < error.offset - 1) { // Qt's offset is one past the character
                Advance();
            }
            Place("").Refuse(error.errorString().toStdString());
        }
        while (!IsAt("{[")) {
            Advance(); // a byte order mark
        }
        CJsonValue value = Place("");
        Fill(value);
        return value;
    }

private:
    bool IsAt(const char* characters) const
    {
        return m_Text[m_Place] != '\0' && std::strchr(characters, m_Text[m_Place]) != nullptr;
    }

    void Advance()
    {
        m_Line += IsAt("\n") ? 1 : 0;
        m_LineBegin = IsAt("\n") ? m_Place + 1 : m_LineBegin;
        ++m_Place;
    }

    void Skip(const char* characters)
    {
        while (IsAt(characters)) {
            Advance();
        }
    }

    CJsonValue Place(const std::string& path) const
    {
        CJsonValue value;
        value.m_File = m_File;
        value.m_Line = m_Line;
        value.m_Column = m_Place - m_LineBegin + 1;
        value.m_Path = path;
        return value;
    }

    void Fill(CJsonValue& value)
    {
        if (IsAt("{[")) {
            value.m_Value = IsAt("{") ? QJsonValue(QJsonObject()) : QJsonValue(QJsonArray());
            FillEntries(value);
        } else {
            value.m_Value = Scalar();
        }
    }

    void FillEntries(CJsonValue& value)
    {
        std::set<std::string> keys;
        if (++m_Level > c_MostLevels) {
            value.Refuse("has more than " + std::to_string(c_MostLevels) + " levels");
        }
        Advance();
        for (Skip(" \t\r\n,"); !IsAt("]}"); Skip(" \t\r\n,")) {
            CJsonValue entry = Place(value.m_Path + "[" + std::to_string(value.m_Entries.size()) + "]");
            if (value.m_Value.isObject()) {
                entry.m_Key = Scalar().toString().toStdString();
                entry.m_Path = value.m_Path + (value.m_Path.empty() ? "" : ".") + Excerpt(entry.m_Key);
                if (!keys.insert(entry.m_Key).second) {
                    entry.Refuse("the object has this key twice");
                }
                Skip(" \t\r\n:");
            }
            if (++m_Values > c_MostValues) {
                entry.Refuse("the file has more than " + std::to_string(c_MostValues) + " values");
            }
            Fill(entry);
            value.m_Entries.push_back(std::move(entry));
        }
        Advance();
        --m_Level;
    }

    QJsonValue Scalar()
    {
        const qsizetype begin = m_Place;
        const bool isText = IsAt("\"");
        for (Advance(); !IsAt(isText ? "\"" : " \t\r\n,:]}"); Advance()) {
            m_Place += isText && IsAt("\\") ? 1 : 0;
        }
        m_Place += isText ? 1 : 0;
        return QJsonDocument::fromJson('[' + m_Text.sliced(begin, m_Place - begin) + ']').array().first();
    }

    std::shared_ptr<const std::string> m_File;
    const QByteArray& m_Text;
    qsizetype m_Place = 0;
    qsizetype m_Line = 1;
    qsizetype m_LineBegin = 0;
    std::size_t m_Values = 0;
    std::size_t m_Level = 0; ///< of the object or list that is read
};

CJsonValue CJsonValue::ReadFile(const std::string& file)
{
    return Parse(file, QByteArray::fromStdString(ReadBounded(file, c_MostBytes)));
}

CJsonValue CJsonValue::Parse(const std::string& file, const QByteArray& text)
{
    return CJsonReader(file, text).Read();
}

const std::vector<CJsonValue>& CJsonValue::Members() const
{
    if (!m_Value.isObject()) {
        Refuse("is not an object");
    }
    return m_Entries;
}

const std::vector<CJsonValue>& CJsonValue::Elements() const
{
    if (!m_Value.isArray()) {
        Refuse("is not a list");
    }
    return m_Entries;
}

double CJsonValue::Number(double low, double high, bool isWhole) const
{
    if (!m_Value.isDouble()) {
        Refuse("is not a number");
    }
    const double number = m_Value.toDouble();
    if (number < low || number > high || (isWhole && number != std::floor(number))) {
        Refuse(NumberText(number) + " is not a " + (isWhole ? "whole " : "") + "number from " +
               NumberText(low) + " to " + NumberText(high));
    }
    return number;
}

bool CJsonValue::IsTrue() const
{
    if (!m_Value.isBool()) {
        Refuse("is neither true nor false");
    }
    return m_Value.toBool();
}

std::string CJsonValue::Text(std::size_t longest) const
{
    if (!m_Value.isString()) {
        Refuse("is not a text");
    }
    std::string text = m_Value.toString().toStdString();
    if (text.size() > longest) {
        Refuse("is longer than " + std::to_string(longest) + " bytes");
    }
    return text;
}

void CJsonValue::Refuse(const std::string& why) const
{
    throw std::runtime_error(*m_File + ":" + std::to_string(m_Line) + ":" + std::to_string(m_Column) + ": " +
                             (m_Path.empty() ? "" : m_Path + ": ") + why);
}
