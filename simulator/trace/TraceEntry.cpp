#include "simulator/trace/TraceEntry.h"

#include "simulator/ValueText.h"

#include <QByteArrayView>

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace
{
/// Far more than a device takes at once. A repeat count could ask for more.
constexpr std::size_t c_MostBytes = std::size_t{1} << 24;
constexpr int c_HexBase = 16;
constexpr std::string_view c_Separator = "|";
constexpr std::string_view c_Open = "??";
constexpr char c_Repeat = '*';

[[noreturn]] void Refuse(const std::string& what) { throw std::runtime_error(what); }

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::optional<std::chrono::nanoseconds> TimeOf(const std::string& text)
{
    if (text == TraceWord::c_Nothing) {
        return std::nullopt;
    }
    const std::size_t point = std::min(text.find('.'), text.size());
    const auto seconds = NumberIn<std::uint32_t>(text.substr(0, point));
    const std::string decimals = text.substr(std::min(point + 1, text.size()));
    const auto fraction = NumberIn<std::uint32_t>(decimals);
    if (!seconds || !fraction || decimals.size() != TraceWord::c_Decimals) {
        Refuse("the time " + Quoted(text) + " is not of the form 0.000000000 or -");
    }
    return std::chrono::seconds(*seconds) + std::chrono::nanoseconds(*fraction);
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
void TakeBytes(TraceEntry_T& entry, std::string_view word, std::size_t number)
{
    const std::size_t star = word.find(c_Repeat);
    const std::string_view digits = word.substr(0, star);
    const auto repeats =
        star == word.npos ? std::optional<std::uint32_t>(1) : NumberIn<std::uint32_t>(word.substr(star + 1));
    if (!repeats || digits.size() % 2 != 0 || (star != word.npos && digits.size() != 2)) {
        Refuse(Quoted(word) + " is neither bytes nor one byte and its repeats, as 00*16");
    }
    if (entry.places.empty() || entry.places.back().line != number) {
        entry.places.push_back({entry.bytes.size(), number});
    }
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        const std::string_view pair = digits.substr(at, 2);
        const auto value = NumberIn<std::uint8_t>(pair, c_HexBase);
        if (!value && pair != c_Open) {
            Refuse(Quoted(pair) + " is not a byte");
        }
        if (*repeats > c_MostBytes - entry.bytes.size()) {
            Refuse("more than " + std::to_string(c_MostBytes) + " bytes");
        }
        entry.bytes.insert(entry.bytes.end(), *repeats, value);
    }
}

void TakeWord(TraceEntry_T& entry, std::string_view word, std::size_t number)
{
    constexpr auto c_Ioctl = static_cast<std::size_t>(DeviceOperation_T::Kind::Ioctl);
    if (entry.direction == TraceWord::c_Operations[c_Ioctl] && !entry.request) {
        word = TakeRequest(entry, word);
    }
    if (word.empty() || word == c_Separator || word == TraceWord::c_Nothing) {
        return;
    }
    if (word == TraceWord::c_Bytewise) {
        entry.isBytewise = true;
    } else if (word.front() == TraceWord::c_Error) {
        TakeError(entry, word.substr(1));
    } else if (word.front() == TraceWord::c_Taken) {
        TakeTaken(entry, word.substr(1));
    } else if (word.front() == TraceWord::c_Checksum) {
        entry.checksum = word;
    } else if (word.front() == TraceWord::c_Delay) {
        TakeDelay(entry, word.substr(1));
    } else {
        TakeBytes(entry, word, number);
    }
}
} // namespace

std::string ChecksumText(ByteView_T bytes)
{
    const auto checksum = qChecksum(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
    return TraceWord::c_Checksum + HexText(checksum, TraceWord::c_ChecksumDigits).substr(2);
}

TraceEntry_T BeginTraceEntry(const std::string& text, std::size_t number)
{
    std::istringstream words(text);
    std::string time;
    TraceEntry_T entry{.number = number};
    words >> time >> entry.device >> entry.direction;
    entry.time = TimeOf(time);
    if (entry.IsRefusal()) {
        words.get();
        std::getline(words, entry.text);
        return entry;
    }
    std::string count;
    words >> count;
    entry.count = NumberIn<std::uint32_t>(count);
    if (!entry.count && count != TraceWord::c_Nothing) {
        Refuse("the count " + Quoted(count) + " is neither a number nor -");
    }
    std::string rest;
    std::getline(words, rest);
    if (const std::size_t comment = rest.find(TraceWord::c_Comment); comment != rest.npos) {
        entry.text = rest.substr(comment + 1);
        entry.text.erase(0, entry.text.starts_with(' ') ? 1 : 0);
    }
    ContinueTraceEntry(entry, rest, number);
    return entry;
}

void ContinueTraceEntry(TraceEntry_T& entry, std::string_view text, std::size_t number)
{
    if (entry.IsRefusal()) {
        Refuse("this line begins with a blank, but a refusal above it cannot continue");
    }
    text = text.substr(0, text.find(TraceWord::c_Comment));
    for (std::size_t begin = text.find_first_not_of(TraceWord::c_Blanks); begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(TraceWord::c_Blanks, begin), text.size());
        TakeWord(entry, text.substr(begin, end - begin), number);
        begin = text.find_first_not_of(TraceWord::c_Blanks, end);
    }
}
