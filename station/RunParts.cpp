#include "station/RunParts.h"

#include <iterator>
#include <utility>

namespace
{
constexpr std::size_t c_MostWords = 10000;

/// Words between blanks; behind the most, what is left is one.
std::vector<Bytes_T> Words(std::string_view text)
{
    std::vector<Bytes_T> words;
    while (!text.empty()) {
        if (words.size() == c_MostWords) {
            words.emplace_back(text);
            break;
        }
        const std::string_view word = text.substr(0, text.find(' '));
        words.emplace_back(word);
        text.remove_prefix(std::min(word.size() + 1, text.size()));
    }
    return words;
}

template <class Element>
void KeepOne(std::vector<Element>& list, std::uint64_t& count, Element element)
{
    if (++count <= c_MostKeptLines) {
        list.push_back(std::move(element));
    }
}
} // namespace

void Keep(Run_T& run, Message_T message) { KeepOne(run.messages, run.messageCount, std::move(message)); }

void KeepUnrecognised(Run_T& run, Line_T line)
{
    KeepOne(run.unrecognised, run.unrecognisedCount, std::move(line));
}

bool SplitCommandLine(Run_T& run)
{
    const bool isWhole = run.commandLine.ends_with(' ');
    if (isWhole) {
        run.commandLine.pop_back();
    }
    std::vector<Bytes_T> words = Words(run.commandLine);
    if (!words.empty()) {
        run.program = std::move(words[0]);
    }
    if (words.size() > 1) {
        run.command = std::move(words[1]);
        run.arguments.assign(std::make_move_iterator(words.begin() + 2),
                             std::make_move_iterator(words.end()));
    }
    return isWhole;
}
