#include "Database/PingMetaDataRecord.h"

#include "Utilities/IOSSFactory.h"
#include "Utilities/IOSSFile.h"

#include <cassert>
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <memory>

namespace
{
constexpr char c_RootVariable[] = "NONPERSISTED_DATABASE_ROOT";

// The old text stays until the new one replaces it: the file is not truncated here but cut after the write.
constexpr int c_OpenFlags = O_WRONLY | O_CREAT | O_NONBLOCK;
constexpr int c_FileMode = 0640;

constexpr std::size_t c_LongestPiece = 1024; ///< including the terminating zero
} // namespace

// The compiler checks the values against the format, as it does for printf().
// NOLINTNEXTLINE(cert-dcl50-cpp)
bool CPingMetaDataFile::Write(IOSSFile& file, const char* format, ...)
{
    char writeBuffer[c_LongestPiece] = {};
    std::va_list values;
    va_start(values, format);
    // A false finding: it appears only when several sources are checked in one run.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int bytesWritten = std::vsnprintf(writeBuffer, sizeof(writeBuffer), format, values);
    va_end(values);
    assert(bytesWritten > 0);
    assert(static_cast<size_t>(bytesWritten) < sizeof(writeBuffer));
    return file.WriteStream(writeBuffer);
}

CPingMetaDataFile::CPingMetaDataFile(const char* ClassName, IOSSFactory* pFactory, std::size_t index)
    : m_ClassName(ClassName), m_pFactory(pFactory),
      m_FileName("PingMetaData" + std::to_string(index) + ".txt")
{
    assert(m_pFactory);
    if (const char* root = m_pFactory->GetEnv(c_RootVariable)) {
        m_RootDirectory = root;
    }
    m_DatabaseFilePath = m_RootDirectory + m_FileName;
    assert(m_DatabaseFilePath.length() <= MAX_DATABASE_PATH_LENGTH);
}

void CPingMetaDataFile::CreateIfMissing()
{
    if (m_pFactory->CheckForFile(m_RootDirectory.c_str(), m_FileName.c_str())) {
        return;
    }
    m_ErrorCode = writeDB();
    if (m_ErrorCode != c_Success) {
        ReportError(m_ErrorCode, " constructor", "failed to write to DB");
    }
}

TSQEventCode_T CPingMetaDataFile::writeDB()
{
    const std::unique_ptr<IOSSFile> pFile(
        m_pFactory->CreateFile(m_DatabaseFilePath.c_str(), c_OpenFlags, c_FileMode));
    if (!pFile) {
        return c_Success;
    }
    if (const TSQEventCode_T unopened = pFile->GetErrorCode(); unopened != c_Success) {
        return unopened;
    }

    const bool written = Print(*pFile);
    const TSQEventCode_T uncut = written ? pFile->Ftruncate(pFile->Ftell()) : c_Success;
    if (written && uncut == c_Success) {
        return c_Success;
    }
    ReportError(written ? uncut : pFile->GetErrorCode(), "::writeDB()", "failed to write contents");
    return c_MetadataNotWritten;
}

void CPingMetaDataFile::ReportError(TSQEventCode_T code, const char* origin, const char* text)
{
    m_pFactory->SendEvent(c_EventError, code, (std::string(m_ClassName) + origin).c_str(), text);
}
