#pragma once

#include "station/output/Formats.h"

#include <QFile>

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

/// A regular file, independent of its names.
struct FileIdentity_T {
    dev_t device;
    ino_t number;

    bool operator==(const FileIdentity_T&) const = default;
};

/// Nothing when it is not a regular file, or cannot be examined.
std::optional<FileIdentity_T> RegularFile(int descriptor);
std::optional<FileIdentity_T> RegularFile(const std::string& name);

/// A format, and the file that it is to be written to.
struct WantedOutput_T {
    const Format_T* format;
    std::string file; ///< c_StandardStream: standard output
};

/// A file that keeps its first write error.
class COutputFile : public QFile
{
public:
    /// Empty: everything was written so far.
    const std::string& Failure() const { return m_Failure; }
    /// Writes what is still buffered.
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
    /// Opens the files, without changing them. @throw std::runtime_error when one cannot be opened, or is
    /// given twice
    COutputs(const std::vector<WantedOutput_T>& outputs, const View_T& view);

    /// The files that runs and complaints go to.
    std::vector<FileIdentity_T> Written() const;

    /// Empties the files. @throw std::runtime_error when that fails
    void Begin() override;
    void Write(const Run_T& run) override;
    void CountLines(const Run_T& rest) override;
    void Flush() override;
    void End(const Summary_T& summary) override;

    const Summary_T& Summary() const { return m_Summary; }
    /// Name of a file that could not be written completely, and why; empty: all were. After End().
    std::string Failed() const;

private:
    struct Output_T {
        std::string name;                       ///< for messages
        bool isStream;                          ///< it is standard output
        std::optional<FileIdentity_T> identity; ///< of a regular file
        std::unique_ptr<COutputFile> file;      ///< before its writer, which must go first
        std::unique_ptr<IRunWriter> writer;
    };

    std::vector<Output_T> m_Outputs;
    Summary_T m_Summary;
};
