#pragma once

#include "simulator/ProgramRun.h"

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

private:
    int m_Stream;
    int m_Copy;
    int m_Read;
    int m_Standard; ///< where the stream went
};

/// Keeps what a run prints while it lives, in a file: when it ends, standard output, and behind it what came
/// on standard error.
class CTranscript
{
public:
    /// Throws std::system_error when the system refuses.
    explicit CTranscript(const std::filesystem::path& file);
    CTranscript(const CTranscript&) = delete;
    CTranscript& operator=(const CTranscript&) = delete;
    ~CTranscript();

    /// Readable when there is something to pass on.
    std::array<int, 2> Descriptors() const { return {m_Output->Descriptor(), m_Errors->Descriptor()}; }
    /// Passes on what there is; does not wait.
    void Drain();

private:
    std::filesystem::path m_File;
    std::filesystem::path m_ErrorFile;
    std::optional<CStreamCopy> m_Output;
    std::optional<CStreamCopy> m_Errors;
};

/// Has the station's reader of reports make a page out of a transcript, for pictures with a range when the
/// interval of the samples in seconds is above 0. Throws std::exception when there is no page.
void WriteRunReport(const std::filesystem::path& page, const std::filesystem::path& transcript,
                    double sampleInterval, const CSignals& signals);
