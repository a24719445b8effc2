#pragma once

#include "Utilities/EventCodes.h"

#include <cstddef>
#include <cstdint>
#include <string>

class IOSSFactory;
class IOSSFile;

/// Longest path of a ping metadata file.
inline constexpr std::size_t MAX_DATABASE_PATH_LENGTH = 256;

/// Writes pieces of text to an open file.
class CPieceWriter
{
public:
    /// @param file  must live as long as the writer
    explicit CPieceWriter(IOSSFile& file) : m_File(file) {}

    /// Formats a piece and hands it to the file in one write. A piece of 1,024 characters or more is an
    /// assertion. False when the file did not take it; the reason is the file's error code.
    [[gnu::format(printf, 2, 3)]] bool operator()(const char* format, ...) const;

private:
    IOSSFile& m_File;
};

/// Whole numbers of 32 bits as the formats of the files take them. Where a line is signed, values that are
/// too large come out negative.
constexpr std::size_t AsSize(std::uint32_t value) { return value; }
constexpr int AsSigned(std::uint32_t value) { return static_cast<int>(value); }

/// The text file behind a ping metadata record: where it lies, when it is made, and how it is replaced while
/// other processes read it. A record derives from this and says what the text is. docs/metadata.md describes
/// the files for those who read them.
class CPingMetaDataFile
{
public:
    CPingMetaDataFile(const CPingMetaDataFile&) = delete;
    CPingMetaDataFile& operator=(const CPingMetaDataFile&) = delete;
    virtual ~CPingMetaDataFile() = default;

    /// Replaces the file's text by the record's, in place, and makes the file when it is missing.
    /// @return 0 when the file holds exactly the record's text, or when the factory makes no files;
    ///   -140 while another process has the file locked, also for reading, and the errno of a file that does
    ///   not open: then the file is as it was;
    ///   -142 when a write failed or the old text's tail could not be cut off: the file may be a mixture of
    ///   both texts until a later call succeeds, and an event tells the reason
    TSQEventCode_T writeDB();

    /// What making the missing file failed with at construction, as writeDB() returns it; else 0. Later
    /// writes do not change it.
    TSQEventCode_T GetErrorCode() const { return m_ErrorCode; }
    const std::string& GetDBFilePath() const { return m_DatabaseFilePath; }

protected:
    /// The path is the value of NONPERSISTED_DATABASE_ROOT (unset: nothing), which has to end with a
    /// separator, followed by "PingMetaData", the index and ".txt". A path beyond MAX_DATABASE_PATH_LENGTH is
    /// an assertion.
    /// @param ClassName  origin of the record's events; must live as long as the object
    /// @param pFactory   not owned, not null; must live as long as the object
    CPingMetaDataFile(const char* ClassName, IOSSFactory* pFactory, std::size_t index);

    /// Writes the file unless the root directory holds a regular file of its name; the last step of a
    /// record's construction. An empty root is no directory that could hold one.
    void CreateIfMissing();

private:
    /// Writes the record's text, stopping at the first piece that fails. Returns whether all went out.
    virtual bool Print(const CPieceWriter& write) const = 0;

    void ReportError(TSQEventCode_T code, const char* origin, const char* text);

    const char* m_ClassName;
    IOSSFactory* m_pFactory;
    std::string m_RootDirectory;
    std::string m_FileName;
    std::string m_DatabaseFilePath;
    TSQEventCode_T m_ErrorCode = c_Success;
};
