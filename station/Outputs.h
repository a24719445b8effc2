#pragma once

#include "station/FileIdentity.h"
#include "station/Options.h"

#include <QFile>

/// A file that remembers why something was not written, whenever that was.
class COutputFile : public QFile
{
public:
    /// Empty: everything was written so far.
    const std::string& Failure() const { return m_Failure; }
    /// Writes what still waits.
    void Finish() { Note(flush()); }

protected:
    qint64 writeData(const char* data, qint64 size) override;

private:
    void Note(bool isWritten);

    std::string m_Failure;
};

/// All outputs as one writer, which counts the runs.
class COutputs : public IRunWriter
{
public:
    /// Opens the files, and leaves what is in them. @throw std::runtime_error when one cannot be, or is there
    /// twice
    COutputs(const std::vector<Options_T::Output_T>& outputs, const View_T& view);

    /// The files that runs and complaints go to.
    std::vector<FileIdentity_T> Written() const;

    /// Takes away what was in the files. @throw std::runtime_error when that fails
    void Begin() override;
    void Write(const Run_T& run) override;
    void End(const Summary_T& summary) override;

    const Summary_T& Summary() const { return m_Summary; }
    /// Name of a file that did not take everything, and why; empty: there is none. After End().
    std::string Failed() const;

private:
    struct Output_T {
        std::string name;
        std::optional<FileIdentity_T> identity; ///< of a regular file
        std::unique_ptr<COutputFile> file;      ///< before its writer, which must go first
        std::unique_ptr<IRunWriter> writer;
    };

    std::vector<Output_T> m_Outputs;
    Summary_T m_Summary;
};
