#include "station/Outputs.h"
#include "station/TranscriptReader.h"
#include "station/Transcripts.h"

#include <QCoreApplication>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace
{
// The simulator knows them, too.
constexpr int c_WrongUsage = 2;
constexpr int c_NotJudged = 3;
constexpr int c_NotRecognised = 4;
constexpr std::array<int, c_Outcomes> c_Statuses = {0, 0, 1, c_NotJudged}; // by Outcome

void PrintError(const std::string& text) { std::fprintf(stderr, "sonarbench-report: %s\n", text.c_str()); }

/// Takes the number of a standard stream that is closed, before another file does. Using it still fails.
void ReserveStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const int mode = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", mode) != stream) {
            return; // nothing can be opened, and nothing will be
        }
    }
}

/// False, and told, when the file cannot be read, or not to its end.
bool ReadFile(const std::string& name, IRunWriter& consumer)
{
    const bool isStream = name == c_StandardStream;
    const int descriptor = isStream ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    QFile file;
    const auto handling = isStream ? QFileDevice::DontCloseHandle : QFileDevice::AutoCloseHandle;
    if (descriptor < 0 || !file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered, handling)) {
        PrintError(name + ": " + std::strerror(errno));
        return false;
    }
    if (!ReadTranscript(name, file, consumer)) {
        PrintError(name + ": " + file.errorString().toStdString());
        return false;
    }
    return true;
}

int StatusOf(const Summary_T& summary, bool isStrict)
{
    int status = summary.runs == 0 ? c_NotJudged : 0;
    for (std::size_t outcome = 0; outcome < c_Outcomes; ++outcome) {
        status = std::max(status, summary.outcomes[outcome] != 0 ? c_Statuses[outcome] : 0);
    }
    return isStrict && summary.unrecognised != 0 ? c_NotRecognised : status;
}

int Report(const Options_T& options)
{
    COutputs outputs(options.outputs, options.view);
    const Transcripts_T transcripts = FindTranscripts(options.transcripts, outputs.Written());
    outputs.Begin();
    std::ranges::for_each(transcripts.complaints, PrintError);
    bool areRead = transcripts.complaints.empty();
    for (const std::string& file : transcripts.files) {
        areRead = ReadFile(file, outputs) && areRead; // the others are read all the same
    }
    outputs.End(outputs.Summary());
    if (const std::string failed = outputs.Failed(); !failed.empty()) {
        throw std::runtime_error(failed);
    }
    return areRead ? StatusOf(outputs.Summary(), options.isStrict) : c_WrongUsage;
}
} // namespace

int main(int argc, char** argv)
{
    ReserveStandardStreams();
    const QCoreApplication application(argc, argv);
    const auto read = ReadOptions(argc, argv);
    if (const auto* const pAnswer = std::get_if<OptionsAnswer_T>(&read)) {
        std::fputs(pAnswer->text.c_str(), pAnswer->exitStatus == 0 ? stdout : stderr);
        return pAnswer->exitStatus;
    }
    try {
        return Report(std::get<Options_T>(read));
    } catch (const std::exception& error) {
        PrintError(error.what());
        return c_WrongUsage;
    }
}
