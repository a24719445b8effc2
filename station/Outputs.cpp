#include "station/Outputs.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace
{
/// QFile would decode the name; this takes its bytes.
void Open(COutputFile& file, const std::string& name)
{
    constexpr mode_t mode = 0666;
    const bool isStream = name == c_StandardStream;
    const int descriptor =
        isStream ? STDOUT_FILENO : ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    const auto handling = isStream ? QFileDevice::DontCloseHandle : QFileDevice::AutoCloseHandle;
    if (descriptor < 0 || !file.open(descriptor, QIODevice::WriteOnly, handling)) {
        throw std::runtime_error(name + ": " + std::strerror(errno));
    }
}
} // namespace

COutputs::COutputs(const std::vector<Options_T::Output_T>& outputs, const View_T& view)
{
    for (const auto& [format, name] : outputs) {
        auto file = std::make_unique<COutputFile>();
        Open(*file, name);
        auto writer = format->make(*file, view);
        m_Outputs.push_back({name, std::move(file), std::move(writer)});
    }
}

void COutputs::Begin()
{
    for (const Output_T& output : m_Outputs) {
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
        if (output.file->HasFailed()) {
            return output.name;
        }
    }
    return {};
}
