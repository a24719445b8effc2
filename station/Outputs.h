#pragma once

#include "station/Options.h"

#include <QFile>

/// A file that remembers that something was not written, whenever that was.
class COutputFile : public QFile
{
public:
    bool HasFailed() const { return m_HasFailed; }
    /// Writes what still waits.
    void Finish() { m_HasFailed = !flush() || m_HasFailed; }

protected:
    qint64 writeData(const char* data, qint64 size) override
    {
        const qint64 written = QFile::writeData(data, size);
        m_HasFailed = m_HasFailed || written != size;
        return written;
    }

private:
    bool m_HasFailed = false;
};

/// All outputs as one writer, which counts the runs.
class COutputs : public IRunWriter
{
public:
    /// Opens the files. @throw std::runtime_error when one cannot be
    COutputs(const std::vector<Options_T::Output_T>& outputs, const View_T& view);

    void Begin() override;
    void Write(const Run_T& run) override;
    void End(const Summary_T& summary) override;

    const Summary_T& Summary() const { return m_Summary; }
    /// Name of a file that did not take everything; empty: there is none. After End().
    std::string Failed() const;

private:
    struct Output_T {
        std::string name;
        std::unique_ptr<COutputFile> file; ///< before its writer, which must go first
        std::unique_ptr<IRunWriter> writer;
    };

    std::vector<Output_T> m_Outputs;
    Summary_T m_Summary;
};
