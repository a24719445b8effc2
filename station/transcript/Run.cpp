#include "station/transcript/Run.h"

#include <iterator>
#include <string_view>
#include <utility>

namespace
{
constexpr std::array<const char*, c_Outcomes> c_Names = {"passed", "performed", "failed", "not judged"};

constexpr std::size_t c_MostWords = 10000;

/// Words between blanks; the rest after c_MostWords is one word.
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

const char* NameOf(Outcome outcome) { return c_Names.at(static_cast<std::size_t>(outcome)); }

void Run_T::Keep(Message_T message) { KeepOne(messages, messageCount, std::move(message)); }

void Run_T::KeepUnrecognised(Line_T line) { KeepOne(unrecognised, unrecognisedCount, std::move(line)); }

std::optional<double> Run_T::Measured(std::string_view name) const
{
    const auto found = std::ranges::find(measurements, name, &Quantity_T::name);
    return found == measurements.end() ? std::nullopt : std::optional(found->value);
}

bool Run_T::SplitCommandLine()
{
    const bool isWhole = commandLine.ends_with(' ');
    if (isWhole) {
        commandLine.pop_back();
    }
    std::vector<Bytes_T> words = Words(commandLine);
    if (!words.empty()) {
        program = std::move(words[0]);
    }
    if (words.size() > 1) {
        command = std::move(words[1]);
        arguments.assign(std::make_move_iterator(words.begin() + 2), std::make_move_iterator(words.end()));
    }
    return isWhole;
}

void Summary_T::Add(const Run_T& run)
{
    ++runs;
    ++outcomes[static_cast<std::size_t>(run.outcome)];
    unit = runs == 1 ? run.record.unit : unit;
    isOneUnit = isOneUnit && run.record.unit == unit;
    reason = reason.empty() ? run.reason : reason;
    AddLines(run);
}

void Summary_T::AddLines(const Run_T& run)
{
    claimed += run.claimedCount;
    unrecognised += run.unrecognisedCount;
}
