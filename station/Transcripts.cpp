#include "station/Transcripts.h"

#include "station/judge/Judgement.h"
#include "station/transcript/RunBuilder.h"
#include "station/transcript/RunFile.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace
{
namespace fs = std::filesystem;

bool IsAmong(const std::vector<FileIdentity_T>& written, const std::optional<FileIdentity_T>& file)
{
    return file && std::ranges::find(written, *file) != written.end();
}

bool IsTranscript(const fs::directory_entry& entry, const std::vector<FileIdentity_T>& written)
{
    if (entry.path().filename().string().starts_with('.')) {
        return false;
    }
    std::error_code failure;
    const fs::file_status status = fs::status(entry.path(), failure);
    // Nothing is known of a link in a circle, or of one to a file that has gone.
    return !fs::status_known(status) || !fs::exists(status) ||
           (fs::is_regular_file(status) && !IsAmong(written, RegularFile(entry.path().string())));
}

void AddFilesIn(const std::string& directory, const std::vector<FileIdentity_T>& written,
                Transcripts_T& transcripts)
{
    std::vector<std::string> files;
    std::error_code failure;
    for (fs::directory_iterator at(directory, failure); at != fs::directory_iterator();
         at.increment(failure)) {
        if (IsTranscript(*at, written)) {
            files.push_back(at->path().string());
        }
    }
    if (failure) {
        transcripts.complaints.push_back(directory + ": " + failure.message());
    }
    std::ranges::sort(files);
    std::ranges::move(files, std::back_inserter(transcripts.files));
}
} // namespace

Transcripts_T FindTranscripts(const std::vector<std::string>& names,
                              const std::vector<FileIdentity_T>& written)
{
    Transcripts_T transcripts;
    for (const std::string& name : names) {
        const bool isStream = name == c_StandardStream;
        std::error_code failure;
        if (IsAmong(written, isStream ? RegularFile(STDIN_FILENO) : RegularFile(name))) {
            throw std::runtime_error(name + ": cannot be read and written at the same time");
        }
        if (!isStream && fs::is_directory(name, failure)) {
            AddFilesIn(name, written, transcripts);
        } else {
            transcripts.files.push_back(name);
        }
    }
    return transcripts;
}

void ReadTranscript(const Bytes_T& transcript, CLineSource& lines, IRunWriter& consumer, Judges_T judges)
{
    Record_T record;
    std::uint64_t headerLines = 0;
    CRunBuilder builder(transcript, [&](Run_T& run) {
        run.record = record;
        run.claimedCount += std::exchange(headerLines, 0);
        Judge(run);
        if (judges.pMeasurer != nullptr) {
            judges.pMeasurer->Measure(run);
        }
        if (judges.pLimits != nullptr) {
            judges.pLimits->Apply(run);
        }
        consumer.Write(run);
    });
    ReadLine_T line;
    bool isThere = lines.Next(line);
    std::vector<Line_T> errors;
    if (isThere && IsRunFile(line.text)) {
        record = ReadHeader(line.text, lines);
        errors = std::exchange(record.errors, {});
        headerLines = record.lines;
        isThere = lines.Next(line);
    }
    for (; isThere; isThere = lines.Next(line)) {
        builder.Take(line);
    }
    if (record.isThere) {
        FinishRecord(record, lines);
        std::ranges::for_each(errors, [&builder](const Line_T& error) { builder.TakeAside(error); });
    }
    builder.End();
}
