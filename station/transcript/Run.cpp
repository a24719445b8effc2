#include "station/transcript/Run.h"

#include <iterator>
#include <string_view>
#include <utility>

namespace
{
constexpr std::array<const char*, c_Outcomes> c_OutcomeNames = {"passed", "performed", "failed",
                                                                "not judged"};

constexpr std::size_t c_MostArguments = 9998; // with the words before them, 10,000

/// Removes the first word, up to a blank, from a text.
std::string_view TakeWord(std::string_view& text)
{
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    return word;
}

template <class Element>
void KeepOne(std::vector<Element>& list, std::uint64_t& count, Element element)
{
    constexpr std::size_t usual = 4; // at most
    if (++count <= c_MostKeptLines) {
        list.reserve(std::max(usual, list.capacity()));
        list.push_back(std::move(element));
    }
}
} // namespace

const char* NameOf(Outcome outcome) { return c_OutcomeNames.at(static_cast<std::size_t>(outcome)); }

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
    std::string_view rest = commandLine;
    program = TakeWord(rest);
    command = TakeWord(rest);
    const auto words = std::min(static_cast<std::size_t>(std::ranges::count(rest, ' ')) + 1, c_MostArguments);
    arguments.reserve(rest.empty() ? 0 : words);
    while (!rest.empty()) {
        const bool isLast = arguments.size() == c_MostArguments;
        arguments.emplace_back(isLast ? std::exchange(rest, {}) : TakeWord(rest));
    }
    return isWhole;
}

std::string_view CommandOf(std::string_view commandLine)
{
    TakeWord(commandLine);
    return TakeWord(commandLine);
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
