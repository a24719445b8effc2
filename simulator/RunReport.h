#pragma once

#include "simulator/ProgramRun.h"

#include <filesystem>

/// Keeps a copy of what is written to standard output while it lives, by this process and those that it
/// starts. It still goes where it went before.
class COutputCopy
{
public:
    /// Throws std::system_error when the system refuses.
    explicit COutputCopy(const std::filesystem::path& copy);
    COutputCopy(const COutputCopy&) = delete;
    COutputCopy& operator=(const COutputCopy&) = delete;
    ~COutputCopy();

    /// Readable when there is something to pass on.
    int Descriptor() const { return m_Read; }
    /// Passes on what there is; does not wait.
    void Drain();

private:
    int m_Copy;
    int m_Read;
    int m_Standard; ///< where standard output went
};

/// Has the station's reader of reports make a page out of a transcript, for pictures with a range when the
/// interval of the samples in seconds is above 0. Throws std::exception when there is no page.
void WriteRunReport(const std::filesystem::path& page, const std::filesystem::path& transcript,
                    double sampleInterval, const CSignals& signals);
