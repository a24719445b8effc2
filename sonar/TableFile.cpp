#include "sonar/TableFile.h"

#include "framework/TestControllerBase.h"

namespace
{
int ToInt(const QByteArray& digits, int base) { return QString::fromLatin1(digits).toInt(nullptr, base); }

std::string DelimiterLine(const char* name, std::string_view key)
{
    return std::string(name) + " Delimiter: \"" + std::string(key) + "\"\n";
}
} // namespace

CTableFile::CTableFile(TestControllerBase& framework, const QString& text, const QString& fileName)
    : m_Framework(framework), m_FileName(fileName), m_Text(text.toLatin1())
{
    m_Text.replace("\r", "");
}

CTableFile CTableFile::Open(TestControllerBase& framework, const QString& fileName)
{
    return {framework, framework.ReadFileContents(fileName), fileName};
}

int CTableFile::GetValue(const ScalarKey_T& key) const
{
    const qsizetype start = Find(key.start);
    const qsizetype end = Find(key.end);
    if (start < 0 || end < 0) {
        return -1;
    }
    // The log puts a blank after the parenthesis; whatever stands there is not part of the number.
    const qsizetype value = start + static_cast<qsizetype>(key.start.size()) + 1;
    return ToInt(Between(value, end).replace(" ", ""), 10);
}

int CTableFile::GetSize(std::string_view headerKey) const
{
    const qsizetype header = Find(headerKey);
    const qsizetype lineEnd = header < 0 ? -1 : m_Text.indexOf('\n', header);
    if (lineEnd < 0) {
        Print("ERROR: Size Delimiter not found.\n" + DelimiterLine("Size", headerKey));
        return 0;
    }
    return ToInt(Between(header + static_cast<qsizetype>(headerKey.size()), lineEnd), 10);
}

QByteArrayList CTableFile::GetPairs(std::string_view headerKey, std::string_view endKey) const
{
    const qsizetype header = Find(headerKey);
    const qsizetype end = Find(endKey);
    if (header < 0 || end < 0) {
        Print("ERROR: Start/End Delimiter not found.\n" + DelimiterLine("Start", headerKey) +
              DelimiterLine("End", endKey));
        return {};
    }
    const qsizetype lineEnd = m_Text.indexOf('\n', header);
    if (lineEnd < 0) {
        Print("ERROR: Data not found.\n");
        return {};
    }

    // One separator between numbers, however the lines are laid out. Two passes close gaps of up to four
    // separators; what is left of a wider gap counts as numbers, so that a damaged table fails its size
    // check.
    QByteArray data = Between(lineEnd + 1, end);
    data.replace("0x", "").replace(" ", "").replace('\n', ',').replace(",,", ",").replace(",,", ",");
    if (data.endsWith(',')) {
        data.chop(1);
    }

    const int size = GetSize(headerKey);
    const qsizetype parts = data.count(',') + 1;
    if (parts != 2 * static_cast<qint64>(size)) {
        Print("ERROR: Expected size (" + std::to_string(size) + ") does not match actual size (" +
              std::to_string(parts) + ")\n");
        return {};
    }
    return data.split(',');
}

int CTableFile::LoadTables(ChirpTable_T& chirp, TVGTable_T& tvg, CorrelationFilterCoefficients_T& correlation,
                           std::string* out) const
{
    if (m_Text.isEmpty()) {
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
    const QByteArrayList parts = GetPairs(key.header, key.end);
    if (parts.isEmpty()) {
        m_Framework.Message(std::string(key.failure), out, false, true);
        return false;
    }
    table.reserve(table.size() + static_cast<std::size_t>(parts.size() / 2));
    for (qsizetype part = 0; part < parts.size(); part += 2) {
        // The FPGA's tables are as wide as their fields: higher bits of a number are cut.
        table.push_back({static_cast<decltype(Entry::first)>(ToInt(parts[part], key.base)),
                         static_cast<decltype(Entry::second)>(ToInt(parts[part + 1], key.base))});
    }
    return true;
}

/// First place of the key in the text, -1 when it is not there. The text may be long: each key is looked for
/// once.
qsizetype CTableFile::Find(std::string_view key) const
{
    auto place = m_Places.find(key);
    if (place == m_Places.end()) {
        place = m_Places.emplace(key, m_Text.indexOf(QByteArrayView(key))).first;
    }
    return place->second;
}

QByteArray CTableFile::Between(qsizetype from, qsizetype to) const
{
    return from < to ? m_Text.sliced(from, to - from) : QByteArray();
}

void CTableFile::Print(const std::string& text) const { m_Framework.Message(text, nullptr, false, true); }
