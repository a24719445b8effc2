#include "sonar/SonarTestController.h"
#include "sonar/TableFile.h"

namespace
{
/// Bytes of a key; the view's owner is the caller's.
std::string_view ViewOf(const QByteArray& bytes)
{
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}
} // namespace

int CSonarTestController::GetValue(const QString& fileName, const QString& startKey, const QString& endKey)
{
    if (m_pTableFile == nullptr || m_pTableFile->FileName() != fileName) {
        m_pTableFile = std::make_unique<CTableFile>(CTableFile::Open(*this, fileName));
    }
    const QByteArray start = startKey.toLatin1();
    const QByteArray end = endKey.toLatin1();
    return m_pTableFile->GetValue({ViewOf(start), ViewOf(end)});
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
