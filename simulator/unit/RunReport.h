#pragma once

#include "simulator/unit/ProgramRun.h"

#include <array>
#include <filesystem>
#include <optional>

/// Keeps a copy of what is written to a standard stream while it lives, by this process and those that it
/// starts. It still goes where it went before, but the stream is no terminal meanwhile.
class CStreamCopy
{
public:
    /// @param stream  STDOUT_FILENO or STDERR_FILENO
    /// @param copy    file to make
    /// Throws std::system_error when the system refuses.
    CStreamCopy(int stream, const std::filesystem::path& copy);
    CStreamCopy(const CStreamCopy&) = delete;
    CStreamCopy& operator=(const CStreamCopy&) = delete;
    ~CStreamCopy();

    /// Readable when there is something to pass on.
    int Descriptor() const { return m_Read; }
    /// Passes on what there is; does not wait.
    void Drain();
    /// The stream goes where it went before. Returns 0 when the copy is whole, otherwise an errno.
    int Finish();

private:
    /// Nobody reads the stream any more, and the program is to notice.
    void Break();

    int m_Stream;
    int m_Copy;
    int m_Read;
    int m_Standard; ///< where the stream went
    int m_Failure = 0;
};

/// Keeps what a run prints in a file: standard output, followed by standard error.
class CTranscript
{
public:
    /// Throws std::system_error when the system refuses.
    explicit CTranscript(const std::filesystem::path& file);

    /// Readable when there is something to pass on. Before Finish().
    std::array<int, 2> Descriptors() const { return {m_Output->Descriptor(), m_Errors->Descriptor()}; }
    /// Passes on what there is; does not wait. Before Finish().
    void Drain();
    /// Keeps no more; the streams are again what they were.
    void Finish();
    /// The file. After Finish(). Throws std::system_error when it does not hold everything.
    const std::filesystem::path& File() const;

private:
    std::filesystem::path m_File;
    std::filesystem::path m_ErrorFile;
    std::optional<CStreamCopy> m_Output;
    std::optional<CStreamCopy> m_Errors;
    int m_Failure = 0; ///< errno of what was not kept
};

/// Has the station's reader of reports make a page out of a transcript, for pictures with a range when the
/// interval of the samples in seconds is above 0. Throws std::exception when there is no page.
void WriteRunReport(const std::filesystem::path& page, const CTranscript& transcript, double sampleInterval,
                    const CSignals& signals);
