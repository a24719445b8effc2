#pragma once

#include "station/transcript/LineSource.h"
#include "station/transcript/Run.h"

// A run file: a header of lines "name: value", an empty line, and the command's standard output, byte for
// byte. docs/run-files.md describes it.

/// Bytes as a value of the header: valid UTF-8 without control bytes as it is, all others as \xNN, and a
/// backslash as two.
Bytes_T HeaderValue(std::string_view bytes);

/// Without blanks and line ends around it.
std::string_view Trimmed(std::string_view text);

/// Whether this is the first line of a run file.
bool IsRunFile(std::string_view line);

/// Reads the rest of the header, up to and with its empty line. What is missing or damaged is the record's
/// objection.
/// @param title  the first line
Record_T ReadHeader(std::string_view title, CLineSource& lines);

/// After the last line: objects if there is more or less output than the header says.
void FinishRecord(Record_T& record, const CLineSource& lines);

/// Whether the run was broken off, or has not ended.
bool IsBrokenOff(const Record_T& record);

/// The header with its empty line. Before the end of the run it lacks what only the end shows, so it reads as
/// broken off.
Bytes_T HeaderText(const Record_T& record, bool isAtEnd);

/// Writes a run file: under a name that ends in ".part" until it is whole, then under one that ends in
/// ".run". No file is overwritten. Each function throws std::system_error, which names the file.
class CRunFileWriter
{
public:
    /// Begins the file. The directory is made if it is not there.
    CRunFileWriter(const Bytes_T& directory, const Record_T& record);
    CRunFileWriter(const CRunFileWriter&) = delete;
    CRunFileWriter& operator=(const CRunFileWriter&) = delete;
    ~CRunFileWriter();

    void Write(std::string_view output);
    /// @return the name of the whole file
    Bytes_T Finish(Record_T record);
    /// The name of the file that is not whole.
    Bytes_T PartName() const { return m_Name + ".part"; }

private:
    Bytes_T WholeName() const { return m_Name + ".run"; }

    Bytes_T m_Directory;
    Bytes_T m_Name; ///< without its ending
    int m_Descriptor = -1;
    std::uint64_t m_HeaderBytes = 0;
    std::uint64_t m_Output = 0;
};
