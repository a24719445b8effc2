#include "sonar/TableFile.h"

#include "sonar/SonarTestController.h"

#include <algorithm>
#include <charconv>
#include <sys/stat.h>

namespace
{
/// The number in a text, 0 when the text is not a number.
int ToInt(std::string_view text, int base)
{
    const char* const pEnd = text.data() + text.size();
    int number = 0;
    const auto read = std::from_chars(text.data(), pEnd, number, base);
    if (read.ec == std::errc() && read.ptr == pEnd) {
        return number;
    }
    // QString decides about white space, a plus sign and text that is not a number.
    return QString::fromLatin1(text).toInt(nullptr, base);
}

/// Calls visit() with each number's text, without "0x" and blanks. Separators are commas and line ends. Up to
/// four in a row separate two numbers or follow the last one. The fifth, ninth and so on add an empty number,
/// so that a damaged table fails its size check. Returns the count of numbers.
template <class Visit>
std::int64_t ForEachNumber(std::string_view text, Visit visit)
{
    constexpr int widestGap = 4;
    std::string number(text.size(), '\0'); // room for the longest possible one
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

/// View on the bytes, which the caller keeps.
std::string_view ViewOf(const QByteArray& bytes)
{
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}
} // namespace

CTableFile::CTableFile(TestControllerBase& framework, std::string text, const QString& fileName,
                       Version_T version)
    : m_Framework(framework), m_FileName(fileName), m_Version(version), m_Text(std::move(text))
{
    if (m_Text.find('\r') != c_Missing) {
        std::erase(m_Text, '\r');
    }
}

CTableFile::CTableFile(TestControllerBase& framework, const QString& text, const QString& fileName)
    : CTableFile(framework, text.toLatin1().toStdString(), fileName, std::nullopt)
{
}

CTableFile CTableFile::Open(TestControllerBase& framework, const QString& fileName)
{
    // Before the file is read, so that a change in between counts as a change.
    const Version_T version = VersionOf(fileName);
    QByteArray contents;
    framework.GetFileContents(fileName, contents, nullptr, FileOwner::Station);
    return {framework, std::string(contents.constData()), fileName, version}; // up to the first zero byte
}

CTableFile::Version_T CTableFile::VersionOf(const QString& fileName)
{
    struct stat status = {};
    if (::stat(fileName.toLatin1().constData(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    return std::tuple{status.st_dev, status.st_ino, status.st_size,
                      static_cast<std::int64_t>(status.st_mtim.tv_sec), status.st_mtim.tv_nsec};
}

bool CTableFile::IsStill(const QString& fileName) const
{
    return m_FileName == fileName && m_Version == VersionOf(fileName);
}

int CTableFile::GetValue(const ScalarKey_T& key) const
{
    const std::size_t start = Find(key.start);
    const std::size_t end = Find(key.end);
    if (start == c_Missing || end == c_Missing) {
        return -1;
    }
    // The log has a blank after the parenthesis. Any character in its place is skipped, too.
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
        // Higher bits than the field has are cut.
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

/// First place of the key in the text. The text may be long, so each key is searched once.
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

int CSonarTestController::GetValue(const QString& fileName, const QString& startKey, const QString& endKey)
{
    const QByteArray start = startKey.toLatin1();
    const QByteArray end = endKey.toLatin1();
    return TableFile(fileName).GetValue({ViewOf(start), ViewOf(end)});
}

const CTableFile& CSonarTestController::TableFile(const QString& fileName)
{
    if (m_pTableFile == nullptr || !m_pTableFile->IsStill(fileName)) {
        m_pTableFile = std::make_unique<CTableFile>(CTableFile::Open(*this, fileName));
    }
    return *m_pTableFile;
}

int CSonarTestController::GetSize(const QString& text, const QString& headerKey)
{
    return CTableFile(*this, text, QString()).GetSize(ViewOf(headerKey.toLatin1()));
}

QList<QString> CSonarTestController::GetPairs(const QString& text, const QString& headerKey,
                                              const QString& endKey)
{
    const CTableFile table(*this, text, QString());
    QList<QString> parts;
    for (const std::string& part : table.GetPairs(ViewOf(headerKey.toLatin1()), ViewOf(endKey.toLatin1()))) {
        parts.append(QString::fromLatin1(part));
    }
    return parts;
}

int CSonarTestController::LoadTables(ChirpTable_T& chirp, TVGTable_T& tvg,
                                     CorrelationFilterCoefficients_T& correlation, std::string* out,
                                     const QString& fileName)
{
    m_pTableFile = std::make_unique<CTableFile>(CTableFile::Open(*this, fileName));
    return m_pTableFile->LoadTables(chirp, tvg, correlation, out);
}
