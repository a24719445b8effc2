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

/// The numbers of a text with one separator between them, however the lines are laid out: without "0x" and
/// blanks, and with a comma for up to four separators. What is left of a wider gap counts as numbers, so that
/// a damaged table fails its size check.
std::string WithOneSeparator(std::string_view text)
{
    constexpr int widestGap = 4;
    std::string numbers(text.size(), '\0');
    char* pTo = numbers.data();
    int gap = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char character = text[at];
        if (character == ',' || character == '\n') {
            *pTo = ',';
            pTo += gap++ % widestGap == 0 ? 1 : 0;
        } else if (character == '0' && text.substr(at + 1, 1) == "x") {
            ++at;
        } else if (character != ' ') {
            *pTo++ = character;
            gap = 0;
        }
    }
    numbers.resize(static_cast<std::size_t>(pTo - numbers.data()));
    return numbers;
}

/// Takes the first part, up to a comma, off the parts.
std::string_view TakePart(std::string_view& parts)
{
    const std::string_view part = parts.substr(0, parts.find(','));
    parts.remove_prefix(std::min(part.size() + 1, parts.size()));
    return part;
}

std::string DelimiterLine(const char* name, std::string_view key)
{
    return std::string(name) + " Delimiter: \"" + std::string(key) + "\"\n";
}
} // namespace

CTableFile::CTableFile(TestControllerBase& framework, std::string text, const QString& fileName)
    : m_Framework(framework), m_FileName(fileName), m_Text(std::move(text))
{
    std::erase(m_Text, '\r');
}

CTableFile::CTableFile(TestControllerBase& framework, const QString& text, const QString& fileName)
    : CTableFile(framework, text.toLatin1().toStdString(), fileName)
{
}

CTableFile CTableFile::Open(TestControllerBase& framework, const QString& fileName)
{
    QByteArray contents;
    framework.GetFileContents(fileName, contents, nullptr);
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

std::string CTableFile::Numbers(std::string_view headerKey, std::string_view endKey) const
{
    const std::size_t header = Find(headerKey);
    const std::size_t end = Find(endKey);
    if (header == c_Missing || end == c_Missing) {
        Print("ERROR: Start/End Delimiter not found.\n" + DelimiterLine("Start", headerKey) +
              DelimiterLine("End", endKey));
        return {};
    }
    const std::size_t lineEnd = m_Text.find('\n', header);
    if (lineEnd == c_Missing) {
        Print("ERROR: Data not found.\n");
        return {};
    }

    std::string numbers = WithOneSeparator(Between(lineEnd + 1, end));
    if (numbers.ends_with(',')) {
        numbers.pop_back();
    }
    const int size = GetSize(headerKey);
    const auto parts = std::count(numbers.begin(), numbers.end(), ',') + 1;
    if (parts != 2 * static_cast<std::int64_t>(size)) {
        Print("ERROR: Expected size (" + std::to_string(size) + ") does not match actual size (" +
              std::to_string(parts) + ")\n");
        return {};
    }
    return numbers;
}

std::vector<std::string> CTableFile::GetPairs(std::string_view headerKey, std::string_view endKey) const
{
    const std::string numbers = Numbers(headerKey, endKey);
    std::vector<std::string> parts;
    for (std::string_view rest = numbers; !rest.empty();) {
        parts.emplace_back(TakePart(rest));
        parts.emplace_back(TakePart(rest));
    }
    return parts;
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
    const std::string numbers = Numbers(key.header, key.end);
    if (numbers.empty()) {
        m_Framework.Message(std::string(key.failure), out, false, true);
        return false;
    }
    for (std::string_view rest = numbers; !rest.empty();) {
        // The FPGA's tables are as wide as their fields: higher bits of a number are cut.
        const auto first = static_cast<decltype(Entry::first)>(ToInt(TakePart(rest), key.base));
        const auto second = static_cast<decltype(Entry::second)>(ToInt(TakePart(rest), key.base));
        table.push_back({first, second});
    }
    return true;
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
