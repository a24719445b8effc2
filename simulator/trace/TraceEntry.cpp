#include "simulator/trace/TraceEntry.h"

#include "simulator/ValueText.h"
#include "tools/Program.h"

#include <algorithm>
#include <stdexcept>

namespace
{
constexpr int c_HexBase = 16;
constexpr std::string_view c_Separator = "|";
constexpr std::string_view c_Open = "??";
constexpr char c_Repeat = '*';

std::string Quoted(std::string_view text) { return "\"" + Excerpt(text) + "\""; }

std::optional<std::chrono::nanoseconds> TimeOf(std::string_view text)
{
    if (text == TraceWord::c_Nothing) {
        return std::nullopt;
    }
    const std::size_t point = std::min(text.find('.'), text.size());
    const auto seconds = NumberIn<std::uint32_t>(text.substr(0, point));
    const std::string_view decimals = text.substr(std::min(point + 1, text.size()));
    const auto fraction = NumberIn<std::uint32_t>(decimals);
    if (!seconds || !fraction || decimals.size() != TraceWord::c_Decimals) {
        Refuse("the time " + Quoted(text) + " is not of the form 0.000000000 or -");
    }
    return std::chrono::seconds(*seconds) + std::chrono::nanoseconds(*fraction);
}

/// "@1.000000000-1.500000000", without the @.
void TakeTimes(TraceEntry_T& entry, std::string_view text)
{
    const std::size_t end = std::min(text.find(TraceWord::c_RealTimeEnd), text.size());
    const auto begin = TimeOf(text.substr(0, end));
    const auto after = TimeOf(text.substr(std::min(end + 1, text.size())));
    if (!begin || !after || *after < *begin) {
        Refuse("the times " + Quoted(text) + " are not of the form @0.000000000-0.000000000");
    }
    entry.times = {*begin, *after};
}

/// "80047202+", and the rest of the word.
std::string_view TakeRequest(TraceEntry_T& entry, std::string_view word)
{
    entry.request = NumberIn<std::uint32_t>(word.substr(0, TraceWord::c_RequestDigits), c_HexBase);
    if (!entry.request || word.find(TraceWord::c_RequestEnd) != TraceWord::c_RequestDigits) {
        Refuse("an ioctl's bytes begin with its request, as 80047202+");
    }
    return word.substr(TraceWord::c_RequestDigits + 1);
}

void TakeError(TraceEntry_T& entry, std::string_view name)
{
    const auto error = ErrorNamed(name);
    if (!error) {
        Refuse("unknown error " + Quoted(name));
    }
    entry.error = *error;
}

void TakeTaken(TraceEntry_T& entry, std::string_view text)
{
    entry.taken = NumberIn<std::uint32_t>(text);
    if (!entry.taken) {
        Refuse("the reported count " + Quoted(text) + " is not of the form =9");
    }
}

void TakeDelay(TraceEntry_T& entry, std::string_view text)
{
    const auto delay =
        NumberIn<std::uint32_t>(text.substr(0, text.size() - std::min(text.size(), std::size_t{2})));
    if (!delay || !text.ends_with(TraceWord::c_DelayUnit)) {
        Refuse("the delay " + Quoted(text) + " is not of the form +1500ms");
    }
    entry.delay = std::chrono::milliseconds(*delay);
}

/// "4353", "00*1372" or "??*4".
void TakeBytes(TraceEntry_T& entry, std::string_view word, std::size_t number, RepeatBudget_T& budget)
{
    const std::size_t star = word.find(c_Repeat);
    const std::string_view digits = word.substr(0, star);
    const auto repeats =
        star == word.npos ? std::optional<std::uint32_t>(1) : NumberIn<std::uint32_t>(word.substr(star + 1));
    if (!repeats || digits.size() % 2 != 0 || (star != word.npos && digits.size() != 2)) {
        Refuse(Quoted(word) + " is neither bytes nor one byte and its repeats, as 00*16");
    }
    if (entry.places.empty() || entry.places.back().line != number) {
        entry.places.push_back({entry.bytes.values.size(), number});
    }
    if (star != word.npos && *repeats > budget) {
        Refuse("the repeats add more than " + std::to_string(c_MostRepeats >> 20) + " MiB");
    }
    budget -= star != word.npos ? *repeats : 0;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        const std::string_view pair = digits.substr(at, 2);
        const auto value = NumberIn<std::uint8_t>(pair, c_HexBase);
        if (!value && pair != c_Open) {
            Refuse(Quoted(pair) + " is not a byte");
        }
        auto& [values, isOpen] = entry.bytes;
        values.insert(values.end(), *repeats, value.value_or(0));
        isOpen.insert(isOpen.end(), *repeats, !value);
    }
}

void TakeWord(TraceEntry_T& entry, std::string_view word, std::size_t number, RepeatBudget_T& budget)
{
    constexpr auto c_Ioctl = static_cast<std::size_t>(DeviceOperation_T::Kind::Ioctl);
    if (entry.direction == TraceWord::c_Operations[c_Ioctl] && !entry.request) {
        word = TakeRequest(entry, word);
    }
    if (word.empty() || word == c_Separator || word == TraceWord::c_Nothing) {
        return;
    }
    if (const auto* const pPace = std::ranges::find(TraceWord::c_Paces, word);
        pPace != TraceWord::c_Paces.end()) {
        entry.pace = static_cast<Pace>(pPace - TraceWord::c_Paces.begin());
    } else if (word.front() == TraceWord::c_Error) {
        TakeError(entry, word.substr(1));
    } else if (word.front() == TraceWord::c_Taken) {
        TakeTaken(entry, word.substr(1));
    } else if (word.front() == TraceWord::c_Checksum) {
        entry.checksum = word;
    } else if (word.front() == TraceWord::c_Delay) {
        TakeDelay(entry, word.substr(1));
    } else if (word.front() == TraceWord::c_RealTime) {
        TakeTimes(entry, word.substr(1));
    } else {
        TakeBytes(entry, word, number, budget);
    }
}
} // namespace

void Refuse(const std::string& what) { throw std::runtime_error(what); }

std::string ChecksumText(ByteView_T bytes)
{
    std::array<char, 1 + TraceWord::c_ChecksumDigits> text{};
    return {text.data(), PutChecksum(text.data(), bytes)};
}

void CheckChecksum(std::string_view checksum, ByteView_T bytes)
{
    if (const std::string has = ChecksumText(bytes); !checksum.empty() && checksum != has) {
        Refuse("the checksum is " + Excerpt(checksum) + ", but the bytes have " + has +
               ", so they were changed");
    }
}

std::optional<std::size_t> BytePattern_T::DifferenceFrom(ByteView_T bytes) const
{
    for (std::size_t at = 0; at < std::max(values.size(), bytes.size()); ++at) {
        if (at == values.size() || at == bytes.size() || (!isOpen[at] && values[at] != bytes[at])) {
            return at;
        }
    }
    return std::nullopt;
}

std::string_view TakeTraceField(std::string_view& text)
{
    text.remove_prefix(std::min(text.find_first_not_of(TraceWord::c_Blanks), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(TraceWord::c_Blanks));
    text.remove_prefix(word.size());
    return word;
}

std::string TraceNameIn(std::string_view text)
{
    constexpr std::size_t c_Longest = 32;
    if (text.empty() || text.size() > c_Longest || Excerpt(text) != text) {
        Refuse(Quoted(text) + " is not a name of 1 to " + std::to_string(c_Longest) +
               " printable characters");
    }
    return std::string(text);
}

TraceEntry_T BeginTraceEntry(std::string_view text, std::size_t number, RepeatBudget_T& budget)
{
    TraceEntry_T entry{.number = number};
    entry.time = TimeOf(TakeTraceField(text));
    entry.device = TraceNameIn(TakeTraceField(text));
    entry.direction = TakeTraceField(text);
    if (entry.IsRefusal()) {
        entry.text = text.substr(std::min(std::size_t{1}, text.size()));
        return entry;
    }
    const std::string_view count = TakeTraceField(text);
    entry.count = NumberIn<std::uint32_t>(count);
    if (!entry.count && count != TraceWord::c_Nothing) {
        Refuse("the count " + Quoted(count) + " is neither a number nor -");
    }
    if (const std::size_t comment = text.find(TraceWord::c_Comment); comment != text.npos) {
        entry.text = text.substr(comment + 1);
        entry.text.erase(0, entry.text.starts_with(' ') ? 1 : 0);
    }
    ContinueTraceEntry(entry, text, number, budget);
    return entry;
}

void ContinueTraceEntry(TraceEntry_T& entry, std::string_view text, std::size_t number,
                        RepeatBudget_T& budget)
{
    if (entry.IsRefusal()) {
        Refuse("this line begins with a blank, but a refusal above it cannot continue");
    }
    text = text.substr(0, text.find(TraceWord::c_Comment));
    for (std::string_view word = TakeTraceField(text); !word.empty(); word = TakeTraceField(text)) {
        TakeWord(entry, word, number, budget);
    }
}

TraceAccess_T ReadTraceAccess(std::string_view text, std::size_t number, RepeatBudget_T& budget)
{
    const std::string_view word = TakeTraceField(text);
    const auto* const pAccess = std::ranges::find(TraceWord::c_FileAccesses, word);
    if (pAccess == TraceWord::c_FileAccesses.end()) {
        Refuse("unknown use of a file " + Quoted(word));
    }
    TraceAccess_T access{number, static_cast<FileAccess>(pAccess - TraceWord::c_FileAccesses.begin()), {}};
    TraceEntry_T entry;
    if (access.access == FileAccess::Failed) {
        const std::string_view name = TakeTraceField(text);
        TakeError(entry, name.substr(std::min(name.find(TraceWord::c_Error) + 1, name.size())));
        access.error = entry.error;
    } else if (access.access == FileAccess::Read || access.access == FileAccess::Shell) {
        const std::string_view count = TakeTraceField(text);
        if (const std::string_view bytes = TakeTraceField(text); bytes != TraceWord::c_Nothing) {
            TakeBytes(entry, bytes, number, budget);
        }
        access.contents = std::move(entry.bytes.values);
        const std::size_t size = access.contents.size();
        if ((count != TraceWord::c_Nothing && NumberIn<std::size_t>(count) != size) ||
            std::ranges::find(entry.bytes.isOpen, true) != entry.bytes.isOpen.end()) {
            Refuse("a file's contents are not the " + Excerpt(count) + " bytes that it says");
        }
    }
    access.path = text.substr(std::min(std::size_t{1}, text.size()));
    if (!access.path.starts_with('/')) {
        Refuse("the path " + Quoted(access.path) + " of a file is not absolute");
    }
    return access;
}
