#include "station/Transcripts.h"

#include "station/Options.h"

#include <algorithm>
#include <stdexcept>

namespace
{
namespace fs = std::filesystem;

bool IsWritten(const fs::path& file, const std::vector<std::string>& outputs)
{
    return std::ranges::any_of(outputs, [&file](const std::string& output) {
        std::error_code failure;
        return output != c_StandardStream && fs::is_regular_file(file, failure) &&
               fs::equivalent(file, output, failure);
    });
}

std::vector<std::string> FilesIn(const fs::path& directory, const std::vector<std::string>& outputs)
{
    std::vector<std::string> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        const bool isHidden = entry.path().filename().string().starts_with('.');
        if (!isHidden && entry.is_regular_file() && !IsWritten(entry.path(), outputs)) {
            files.push_back(entry.path().string());
        }
    }
    std::ranges::sort(files);
    return files;
}
} // namespace

std::vector<std::string> TranscriptFiles(const std::vector<std::string>& names,
                                         const std::vector<std::string>& outputs)
{
    std::vector<std::string> files;
    for (const std::string& name : names) {
        const bool isFile = name != c_StandardStream;
        if (isFile && !fs::exists(name)) {
            throw std::runtime_error(name + ": there is no such file");
        }
        if (isFile && IsWritten(name, outputs)) {
            throw std::runtime_error(name + ": cannot be read and written at once");
        }
        if (isFile && fs::is_directory(name)) {
            std::ranges::move(FilesIn(name, outputs), std::back_inserter(files));
        } else {
            files.push_back(name);
        }
    }
    return files;
}
