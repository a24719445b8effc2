#pragma once

#include "simulator/unit/ProgramRun.h"

#include <array>
#include <filesystem>
#include <optional>

/// While it lives, keeps a copy of what this process and those that it starts write to a standard stream. The
/// text still goes where it went before, but the stream is a pipe.
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
    /// Restores the stream. Returns 0 when the copy is whole, otherwise an errno.
    int Finish();

private:
    /// Makes the program's next write fail, because nobody reads the stream any more.
    void Break();

    int m_Stream;
    int m_Copy;
    int m_Read;
    int m_Standard; ///< where the stream went
    int m_Failure = 0;
};

/// Keeps what a run prints in a file: standard output, then standard error.
class CTranscript
{
public:
    /// Throws std::system_error when the system refuses.
    explicit CTranscript(const std::filesystem::path& file);

    /// Readable when there is something to pass on. Before Finish().
    std::array<int, 2> Descriptors() const { return {m_Output->Descriptor(), m_Errors->Descriptor()}; }
    /// Passes on what there is; does not wait. Before Finish().
    void Drain();
    /// Restores the streams and completes the file.
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

/// Lets sonarbench-station make a page of a transcript. Its pictures show the range if the interval of the
/// samples, in seconds, is above 0. Throws std::exception when there is no page.
void WriteRunReport(const std::filesystem::path& page, const CTranscript& transcript, double sampleInterval,
                    const CSignals& signals);
