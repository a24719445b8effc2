#include "sonar/TableFile.h"

#include "framework/TestControllerBase.h"

#include <QString>

#include <algorithm>
#include <charconv>
#include <utility>

namespace
{
/// The number that a text is, 0 when it is none.
int ToInt(std::string_view text, int base)
{
    const char* const pEnd = text.data() + text.size();
    int number = 0;
    const auto read = std::from_chars(text.data(), pEnd, number, base);
    if (read.ec == std::errc() && read.ptr == pEnd) {
        return number;
    }
    // White space, a plus sign and what is no number are left to QString.
    return QString::fromLatin1(text).toInt(nullptr, base);
}

/// Gives visit() each number's text, without "0x" and blanks, however the lines are laid out: up to four
/// separators are one, and the last number may have one behind it. What is left of a wider gap counts as
/// numbers, so that a damaged table fails its size check. Returns how many there were.
template <class Visit>
std::int64_t ForEachNumber(std::string_view text, Visit visit)
{
    constexpr int widestGap = 4;
    std::string number(text.size(), '\0'); // room for the longest that there can be
    char* const pNumber = number.data();
    char* pTo = pNumber;
    std::int64_t count = 0;
    int gap = 0;
    const char* const pEnd = text.data() + text.size();
    for (const char* pFrom = text.data(); pFrom != pEnd; ++pFrom) {
        const char character = *pFrom;
        if (character == ',' || character == '\n') {
            if (gap++ % widestGap == 0) {
                visit(std::string_view(pNumber, pTo));
                pTo = pNumber;
                ++count;
            }
        } else if (character == '0' && pFrom + 1 != pEnd && pFrom[1] == 'x') {
            ++pFrom;
        } else if (character != ' ') {
            *pTo++ = character;
            gap = 0;
        }
    }
    if (gap == 0) {
        visit(std::string_view(pNumber, pTo));
        ++count;
    }
    return count;
}

std::string DelimiterLine(const char* name, std::string_view key)
{
    return std::string(name) + " Delimiter: \"" + std::string(key) + "\"\n";
}
} // namespace

CTableFile::CTableFile(TestControllerBase& framework, std::string text, const QString& fileName)
    : m_Framework(framework), m_FileName(fileName), m_Text(std::move(text))
{
    if (m_Text.find('\r') != c_Missing) {
        std::erase(m_Text, '\r');
    }
}

CTableFile::CTableFile(TestControllerBase& framework, const QString& text, const QString& fileName)
    : CTableFile(framework, text.toLatin1().toStdString(), fileName)
{
}

CTableFile CTableFile::Open(TestControllerBase& framework, const QString& fileName)
{
    QByteArray contents;
    framework.GetFileContents(fileName, contents, nullptr, FileOwner::Station);
    return {framework, std::string(contents.constData()), fileName}; // up to the first zero byte
}

int CTableFile::GetValue(const ScalarKey_T& key) const
{
    const std::size_t start = Find(key.start);
    const std::size_t end = Find(key.end);
    if (start == c_Missing || end == c_Missing) {
        return -1;
    }
    // The log puts a blank after the parenthesis; whatever stands there is not part of the number.
    std::string value(Between(start + key.start.size() + 1, end));
    std::erase(value, ' ');
    return ToInt(value, 10);
}

int CTableFile::GetSize(std::string_view headerKey) const
{
    const std::size_t header = Find(headerKey);
    const std::size_t lineEnd = header == c_Missing ? c_Missing : m_Text.find('\n', header);
    if (lineEnd == c_Missing) {
        Print("ERROR: Size Delimiter not found.\n" + DelimiterLine("Size", headerKey));
        return 0;
    }
    return ToInt(Between(header + headerKey.size(), lineEnd), 10);
}

template <class Visit>
bool CTableFile::VisitNumbers(std::string_view headerKey, std::string_view endKey, Visit visit) const
{
    const std::size_t header = Find(headerKey);
    const std::size_t end = Find(endKey);
    if (header == c_Missing || end == c_Missing) {
        Print("ERROR: Start/End Delimiter not found.\n" + DelimiterLine("Start", headerKey) +
              DelimiterLine("End", endKey));
        return false;
    }
    const std::size_t lineEnd = m_Text.find('\n', header);
    if (lineEnd == c_Missing) {
        Print("ERROR: Data not found.\n");
        return false;
    }
    const std::int64_t count = ForEachNumber(Between(lineEnd + 1, end), visit);
    const int size = GetSize(headerKey);
    if (count != 2 * std::int64_t{size}) {
        Print("ERROR: Expected size (" + std::to_string(size) + ") does not match actual size (" +
              std::to_string(count) + ")\n");
        return false;
    }
    return true;
}

std::vector<std::string> CTableFile::GetPairs(std::string_view headerKey, std::string_view endKey) const
{
    std::vector<std::string> parts;
    const bool isWhole =
        VisitNumbers(headerKey, endKey, [&parts](std::string_view number) { parts.emplace_back(number); });
    return isWhole ? parts : std::vector<std::string>();
}

int CTableFile::LoadTables(ChirpTable_T& chirp, TVGTable_T& tvg, CorrelationFilterCoefficients_T& correlation,
                           std::string* out) const
{
    if (m_Text.empty()) {
        m_Framework.Message("ERROR: Ensure file exists: " + m_FileName.toLatin1().toStdString() + " \n", out,
                            false, true);
        return TEST_FAILED;
    }
    const bool loaded = Load(TableKeys::c_Chirp, chirp, out) && Load(TableKeys::c_Tvg, tvg, out) &&
                        Load(TableKeys::c_Correlation, correlation, out);
    return loaded ? OPERATION_PERFORMED : TEST_FAILED;
}

template <class Entry>
bool CTableFile::Load(const TableKey_T& key, std::vector<Entry>& table, std::string* out) const
{
    const std::size_t known = table.size();
    bool isFirst = true;
    const bool isWhole = VisitNumbers(key.header, key.end, [&](std::string_view text) {
        const int number = ToInt(text, key.base);
        // The FPGA's tables are as wide as their fields: higher bits of a number are cut.
        if (isFirst) {
            table.push_back({static_cast<decltype(Entry::first)>(number), 0});
        } else {
            table.back().second = static_cast<decltype(Entry::second)>(number);
        }
        isFirst = !isFirst;
    });
    if (!isWhole) {
        table.resize(known);
        m_Framework.Message(std::string(key.failure), out, false, true);
    }
    return isWhole;
}

/// First place of the key in the text. The text may be long: each key is looked for once.
std::size_t CTableFile::Find(std::string_view key) const
{
    const auto known = std::ranges::find(m_Places, key, &Place_T::first);
    return known != m_Places.end() ? known->second : m_Places.emplace_back(key, m_Text.find(key)).second;
}

std::string_view CTableFile::Between(std::size_t from, std::size_t to) const
{
    return from < to ? std::string_view(m_Text).substr(from, to - from) : std::string_view();
}

void CTableFile::Print(const std::string& text) const { m_Framework.Message(text, nullptr, false, true); }
