#include "station/output/Outputs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
std::runtime_error Refusal(const std::string& name)
{
    return std::runtime_error(name + ": " + std::strerror(errno));
}

/// QFile would decode the name; this takes its bytes.
void Open(COutputFile& file, const std::string& name, bool isStream)
{
    constexpr mode_t mode = 0666;
    const int descriptor =
        isStream ? STDOUT_FILENO : ::open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, mode);
    const auto handling = isStream ? QFileDevice::DontCloseHandle : QFileDevice::AutoCloseHandle;
    if (descriptor < 0 || !file.open(descriptor, QIODevice::WriteOnly, handling)) {
        throw Refusal(name);
    }
}

std::optional<FileIdentity_T> IdentityOf(int result, const struct stat& file)
{
    if (result != 0 || !S_ISREG(file.st_mode)) {
        return std::nullopt;
    }
    return FileIdentity_T{file.st_dev, file.st_ino};
}
} // namespace

std::optional<FileIdentity_T> RegularFile(int descriptor)
{
    struct stat file = {};
    return IdentityOf(::fstat(descriptor, &file), file);
}

std::optional<FileIdentity_T> RegularFile(const std::string& name)
{
    struct stat file = {};
    return IdentityOf(::stat(name.c_str(), &file), file);
}

void COutputFile::Note(bool isWritten)
{
    if (!isWritten && m_Failure.empty()) {
        m_Failure = std::strerror(errno);
    }
}

qint64 COutputFile::writeData(const char* data, qint64 size)
{
    const qint64 written = QFile::writeData(data, size);
    Note(written == size);
    return written;
}

COutputs::COutputs(const std::vector<WantedOutput_T>& outputs, const View_T& view)
{
    for (const WantedOutput_T& wanted : outputs) {
        const bool isStream = wanted.file == c_StandardStream;
        const std::string name = isStream ? "standard output" : wanted.file;
        auto file = std::make_unique<COutputFile>();
        Open(*file, name, isStream);
        const auto identity = RegularFile(file->handle());
        if (std::ranges::any_of(m_Outputs, [&](const Output_T& other) {
                return identity ? identity == other.identity : isStream && other.isStream;
            })) {
            throw std::runtime_error("two outputs cannot go to " + name);
        }
        View_T own = view;
        own.isTerminal = isStream && view.isTerminal;
        own.isColoured = isStream && view.isColoured;
        auto writer = wanted.format->make(*file, own);
        m_Outputs.push_back({name, isStream, identity, std::move(file), std::move(writer)});
    }
}

std::vector<FileIdentity_T> COutputs::Written() const
{
    std::vector<FileIdentity_T> written;
    const auto add = [&written](const std::optional<FileIdentity_T>& file) {
        if (file) {
            written.push_back(*file);
        }
    };
    add(RegularFile(STDOUT_FILENO));
    add(RegularFile(STDERR_FILENO));
    for (const Output_T& output : m_Outputs) {
        add(output.identity);
    }
    return written;
}

void COutputs::Begin()
{
    for (const Output_T& output : m_Outputs) {
        // Standard output may be appended to what others wrote.
        if (output.identity && !output.isStream && ::ftruncate(output.file->handle(), 0) != 0) {
            throw Refusal(output.name);
        }
        output.writer->Begin();
    }
}

void COutputs::Write(const Run_T& run)
{
    m_Summary.Add(run);
    for (const Output_T& output : m_Outputs) {
        output.writer->Write(run);
    }
}

void COutputs::CountLines(const Run_T& rest) { m_Summary.AddLines(rest); }

void COutputs::Flush()
{
    for (const Output_T& output : m_Outputs) {
        output.writer->Flush();
        output.file->Finish();
    }
}

void COutputs::End(const Summary_T& summary)
{
    for (const Output_T& output : m_Outputs) {
        output.writer->End(summary);
        output.file->Finish();
    }
}

std::string COutputs::Failed() const
{
    for (const Output_T& output : m_Outputs) {
        if (const std::string& failure = output.file->Failure(); !failure.empty()) {
            return output.name + ": not everything could be written: " + failure;
        }
    }
    return {};
}
