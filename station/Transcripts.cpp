#include "station/Transcripts.h"

#include "station/judge/Judgement.h"
#include "station/transcript/LineSource.h"
#include "station/transcript/RunBuilder.h"
#include "station/transcript/RunFile.h"
#include "tools/BoundedFile.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace
{
namespace fs = std::filesystem;

bool IsAmong(std::span<const FileIdentity_T> written, const std::optional<FileIdentity_T>& file)
{
    return file && std::ranges::find(written, *file) != written.end();
}

/// A file of a directory.
struct Candidate_T {
    std::string path;
    bool isTranscript; ///< by its content
};

/// The extension, without that of the compression.
fs::path ExtensionOf(const fs::path& path)
{
    const fs::path extension = path.extension();
    return extension == ".gz" || extension == ".zst" ? path.stem().extension() : extension;
}

/// Whether a line at the beginning is one of the program's.
bool IsTranscript(const fs::path& path)
{
    constexpr std::size_t enough = std::size_t{64} * 1024;
    const CDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Get() < 0) {
        return true;
    }
    CFileSource bytes(file.Get());
    CExpandedSource expanded(bytes);
    std::string beginning(enough, '\0');
    std::size_t size = 0;
    for (std::size_t got = 1; got != 0 && size < enough; size += got) {
        got = expanded.Read(std::span(beginning).subspan(size));
    }
    CTextSource text(std::string_view(beginning).substr(0, size));
    CLineSource lines(text);
    for (ReadLine_T line; lines.Next(line);) {
        if (IsOfProgram(line.text) || IsRunFile(line.text)) {
            return true;
        }
    }
    return false;
}

/// How a directory is searched.
struct Search_T {
    std::span<const FileIdentity_T> written; ///< files that are left out
    bool (*isTranscript)(const fs::path& path);
};

void AddEntry(const fs::directory_entry& entry, const Search_T& search, std::vector<std::string>& directories,
              std::vector<Candidate_T>& candidates)
{
    const std::string& path = entry.path().native();
    if (path[path.rfind('/') + 1] == '.') {
        return;
    }
    std::error_code failure;
    const bool isFile = entry.is_regular_file(failure); // mostly without asking the system again
    const fs::file_status status = isFile ? fs::file_status(fs::file_type::regular) : entry.status(failure);
    // Nothing is known of a link in a circle, or of one to a file that has gone.
    if (!fs::status_known(status) || !fs::exists(status)) {
        candidates.push_back({path, true});
    } else if (fs::is_directory(status) && !entry.is_symlink(failure)) {
        directories.push_back(path);
    } else if (isFile && (search.written.empty() || !IsAmong(search.written, RegularFile(path)))) {
        candidates.push_back({path, search.isTranscript(entry.path())});
    }
}

/// A file without a line of the program is a transcript all the same if its extension is that of one: the
/// test may have printed nothing.
void AddFilesIn(const std::string& top, const Search_T& search, Transcripts_T& transcripts)
{
    std::vector<std::string> directories = {top};
    std::vector<Candidate_T> candidates;
    while (!directories.empty()) {
        const std::string directory = std::move(directories.back());
        directories.pop_back();
        std::error_code failure;
        for (fs::directory_iterator at(directory, failure); at != fs::directory_iterator();
             at.increment(failure)) {
            AddEntry(*at, search, directories, candidates);
        }
        if (failure) {
            transcripts.complaints.push_back(directory + ": " + failure.message());
        }
    }
    std::ranges::sort(candidates, {}, &Candidate_T::path);
    std::set<fs::path> extensions;
    if (!std::ranges::all_of(candidates, &Candidate_T::isTranscript)) {
        for (const Candidate_T& candidate : candidates) {
            if (candidate.isTranscript) {
                extensions.insert(ExtensionOf(candidate.path));
            }
        }
    }
    for (Candidate_T& candidate : candidates) {
        const bool isRead = candidate.isTranscript || extensions.contains(ExtensionOf(candidate.path));
        (isRead ? transcripts.files : transcripts.skipped).push_back(std::move(candidate.path));
    }
}

Transcripts_T Find(const std::vector<std::string>& names, const Search_T& search)
{
    Transcripts_T transcripts;
    for (const std::string& name : names) {
        const bool isStream = name == c_StandardStream;
        std::error_code failure;
        if (IsAmong(search.written, isStream ? RegularFile(STDIN_FILENO) : RegularFile(name))) {
            throw std::runtime_error(name + ": cannot be read and written at the same time");
        }
        if (!isStream && fs::is_directory(name, failure)) {
            AddFilesIn(name, search, transcripts);
        } else {
            transcripts.files.push_back(name);
        }
    }
    return transcripts;
}
} // namespace

Transcripts_T FindTranscripts(const std::vector<std::string>& names,
                              const std::vector<FileIdentity_T>& written)
{
    return Find(names, {.written = written, .isTranscript = IsTranscript});
}

Transcripts_T FindFiles(const std::vector<std::string>& names)
{
    return Find(names, {.written = {}, .isTranscript = [](const fs::path&) { return true; }});
}

void ReadTranscript(const Bytes_T& transcript, IByteSource& bytes, IRunWriter& consumer, Judges_T judges)
{
    Record_T record;
    std::uint64_t headerLines = 0;
    CRunBuilder builder(transcript, [&](Run_T& run) {
        if (run.facts.isRest) {
            return consumer.CountLines(run);
        }
        if (record.isThere) {
            run.record = record;
        }
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
    bytes.WhenWaiting([&](bool isIdle) {
        // Only the end of a run file shows whether it is whole.
        if (isIdle && !record.isThere) {
            builder.Settle();
        }
        consumer.Flush();
    });
    CLineSource lines(bytes);
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
    bytes.WhenWaiting(nullptr);
    builder.End();
}
