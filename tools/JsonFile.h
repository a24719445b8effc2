#pragma once

#include <QJsonValue>

#include <memory>
#include <string>
#include <vector>

/// A value of a JSON file, with its place in the file. Refusals are thrown as std::runtime_error and name the
/// file, line, column and value: "scene.json:3:14: fish[0].depth: is not a number". A file in which an object
/// has the same key twice is refused, and one with more than 20,000 values or 16 levels.
class CJsonValue
{
public:
    /// Reads a file of at most 1 MiB, as ReadBounded() does.
    static CJsonValue ReadFile(const std::string& file);
    /// @param file  for messages
    static CJsonValue Parse(const std::string& file, const QByteArray& text);

    // Each refuses a value of another type.
    const std::vector<CJsonValue>& Members() const; ///< of an object, in the file's order
    const std::vector<CJsonValue>& Elements() const;
    double Number(double low, double high, bool isWhole = false) const;
    bool IsTrue() const; ///< of true or false
    bool IsNull() const { return m_Value.isNull(); }
    /// In UTF-8, of at most so many bytes.
    std::string Text(std::size_t longest) const;

    /// The key of a member; otherwise empty.
    const std::string& Key() const { return m_Key; }
    [[noreturn]] void Refuse(const std::string& why) const;

private:
    friend class CJsonReader;

    std::shared_ptr<const std::string> m_File;
    qsizetype m_Line = 0;   ///< from 1
    qsizetype m_Column = 0; ///< in bytes, from 1; of a member, that of its key
    std::string m_Path;     ///< from the outermost value, whose path is empty; each key as an excerpt
    std::string m_Key;
    QJsonValue m_Value; ///< for an object or list, only the type
    std::vector<CJsonValue> m_Entries;
};
