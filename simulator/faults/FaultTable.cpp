#include "simulator/faults/FaultTable.h"

#include "simulator/ValueText.h"
#include "tools/CommandLine.h"
#include "tools/Program.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <optional>
#include <stdexcept>
#include <vector>

namespace
{
using enum FaultOperation_T;
using enum CallKind_T;

constexpr std::uint8_t c_NoisyBit = 0x10;
/// Longer than the program waits for a reply.
constexpr std::chrono::milliseconds c_Late(1500);

// The effects of faults on a device's operation. Each function takes the value of the fault's kind, 0 where
// the kind is a word. Effects on bytes also work on no bytes, since an earlier fault can have removed them
// all.

// Effects on what goes to the device.

void Fail(FaultTarget_T& target, int error)
{
    target.outcome.error = error;
    target.arrives = false;
}

void CutWrite(FaultTarget_T& target, int)
{
    target.arriving = target.arriving.first(target.arriving.size() / 2);
    target.outcome.taken = target.arriving.size();
}

void MoveNothing(FaultTarget_T& target, int)
{
    target.outcome.taken = 0;
    target.arrives = false;
}

void PretendSuccess(FaultTarget_T& target, int) { target.arrives = false; }

// Effects on what comes back.

void Drop(FaultTarget_T& target, int) { target.pBytes->clear(); }

void CutLastByte(FaultTarget_T& target, int)
{
    target.pBytes->resize(target.pBytes->empty() ? 0 : target.pBytes->size() - 1);
}

void CutSecondHalf(FaultTarget_T& target, int) { target.pBytes->resize(target.pBytes->size() / 2); }

void CorruptChecksum(FaultTarget_T& target, int)
{
    if (!target.pBytes->empty()) {
        ++target.pBytes->back();
    }
}

/// Like a line that loses a byte.
void DropByte(FaultTarget_T& target, int)
{
    if (!target.pBytes->empty()) {
        target.pBytes->erase(target.pBytes->begin() + std::ssize(*target.pBytes) / 2);
    }
}

/// Like a noisy line, on every byte.
void CorruptBytes(FaultTarget_T& target, int)
{
    for (std::uint8_t& byte : *target.pBytes) {
        byte ^= c_NoisyBit;
    }
}

void FlipBit(FaultTarget_T& target, int)
{
    if (!target.pBytes->empty()) {
        (*target.pBytes)[target.pBytes->size() / 2] ^= c_WrongBit;
    }
}

void ZeroBytes(FaultTarget_T& target, int) { std::ranges::fill(*target.pBytes, std::uint8_t{0}); }

/// Before the first reply, the buffer holds zeros.
void RepeatPrevious(FaultTarget_T& target, int)
{
    const Bytes_T& previous = *target.pPrevious;
    for (std::size_t i = 0; i < target.pBytes->size(); ++i) {
        (*target.pBytes)[i] = previous.empty() ? std::uint8_t{0} : previous[i % previous.size()];
    }
}

void DelayReply(FaultTarget_T& target, int) { target.outcome.replyDelay = c_Late; }

void SendBytewise(FaultTarget_T& target, int) { target.outcome.pace = Pace::Bytewise; }

void SendSlowly(FaultTarget_T& target, int) { target.outcome.pace = Pace::Slow; }

/// The FIFO status is one byte. Its reply repeats that byte as the checksum.
void AnswerStatus(FaultTarget_T& target, int status)
{
    std::fill_n(target.pBytes->begin() + static_cast<std::ptrdiff_t>(target.place), 2,
                static_cast<std::uint8_t>(status));
}

void TimeOut(FaultTarget_T& target, int) { target.outcome.error = ETIMEDOUT; }

constexpr std::string_view c_ErrnoKind = NameOf(Errno);
constexpr std::string_view c_ValueKind = "VALUE";
constexpr int c_HighestStatus = 255;

constexpr FaultKind_T AtCall(FaultOperation_T operation, CallKind_T kind, std::string_view explanation)
{
    return {operation, NameOf(kind), explanation, true};
}

constexpr std::array c_Kinds{
    // Played before the device model. The program sees that a write failed, so later refusals still count.
    FaultKind_T{Write, c_ErrnoKind, "the write fails with an error such as EIO", false, Fail},
    FaultKind_T{Write, "short", "half of the write reaches the device and is reported", true, CutWrite},
    FaultKind_T{Write, "zero", "nothing reaches the device, and 0 is reported", true, MoveNothing},
    FaultKind_T{Write, "lying", "the write succeeds, but nothing reaches the device", true, PretendSuccess},
    FaultKind_T{Ioctl, c_ErrnoKind, "the request fails with an error such as EIO", true, Fail},
    FaultKind_T{Ioctl, "lying", "the request succeeds, but nothing is done", true, PretendSuccess},
    FaultKind_T{Reply, "silent", "the reply never arrives", false, Drop},
    FaultKind_T{Reply, "short", "the reply's last byte never arrives", false, CutLastByte},
    FaultKind_T{Reply, "checksum", "the reply's last byte is one too high", false, CorruptChecksum},
    FaultKind_T{Reply, "dropped", "a byte in the middle of the reply gets lost", false, DropByte},
    FaultKind_T{Reply, "corrupted", "one bit of each byte of the reply is wrong", false, CorruptBytes},
    FaultKind_T{Reply, "bit", "one bit in the middle of the reply is wrong", false, FlipBit},
    FaultKind_T{Reply, "stale", "the previous reply comes again, in this one's length", false,
                RepeatPrevious},
    FaultKind_T{Reply, "late", "the reply comes after one and a half seconds", false, DelayReply},
    FaultKind_T{Reply, "bytewise", "each read gets one byte of the reply", false, SendBytewise},
    FaultKind_T{Reply, "slow", "each byte of the reply takes half a second", false, SendSlowly},
    FaultKind_T{Fill, "lying", "the ping read succeeds, but leaves the buffer as it was", false, Drop},
    FaultKind_T{Fill, "short", "the ping read leaves the buffer's second half as it was", false,
                CutSecondHalf},
    FaultKind_T{Fill, "zeros", "the ping read returns zeros", false, ZeroBytes},
    FaultKind_T{Fill, "stale", "the ping read returns the data of the previous one", false, RepeatPrevious},
    FaultKind_T{Fill, "bit", "one bit in the middle of the ping's samples is wrong", false, FlipBit},
    FaultKind_T{Fill, "corrupted", "one bit of each byte of the ping's samples is wrong", false,
                CorruptBytes},
    FaultKind_T{Fifo, c_ValueKind, "a read of the FIFO status returns VALUE, 0 to 255", false, AnswerStatus},
    FaultKind_T{Interrupt, "never", "the wait for the interrupt times out", false, TimeOut},

    // Played at the program's system calls, on a device node.
    AtCall(Open, Errno, "the node cannot be opened"),
    AtCall(Read, Errno, "the read fails"),
    AtCall(Read, Short, "the read gets the first half of what is there"),
    AtCall(Read, Zero, "the read gets nothing and reports 0"),
    AtCall(Poll, Errno, "the wait for input fails"),
    AtCall(Poll, Never, "the wait for input times out at once"),
    AtCall(Poll, Lying, "the wait for input reports input that is not there"),
    AtCall(TcSetAttr, Errno, "the line cannot be set up"),
    AtCall(TcSetAttr, Lying, "the line's set-up succeeds, but changes nothing"),
    AtCall(Close, Errno, "the node is closed, but an error is reported"),
    AtCall(Device, Gone, "from that call on, the unit's nodes fail with ENODEV"),

    // Played at the program's system calls, on a file of the unit or one that an argument names.
    AtCall(FileOpen, Errno, "the file cannot be opened"),
    AtCall(FileRead, Errno, "the read fails"),
    AtCall(FileRead, Short, "the read gets the first half of what is there"),
    AtCall(FileRead, Zero, "the read gets nothing, as at the file's end"),
    AtCall(FileRead, Bit, "one bit in the middle of what was read is wrong"),
    AtCall(FileWrite, Errno, "the write fails"),
    AtCall(FileWrite, Short, "half of it is written and reported"),
    AtCall(FileWrite, Zero, "nothing is written, and 0 is reported"),
    AtCall(FileWrite, Lying, "the write succeeds, but nothing is written"),
    AtCall(FileClose, Errno, "the file is closed, but an error is reported"),
};

/// The value of a kind: errno, FIFO status, 0 for a word. Nothing when the text is not of this kind.
std::optional<int> ValueOf(const FaultKind_T& row, std::string_view text)
{
    if (row.kind == c_ErrnoKind) {
        return ErrorNamed(text);
    }
    if (row.kind == c_ValueKind) {
        const auto value = NumberIn<int>(text);
        return value && *value >= 0 && *value <= c_HighestStatus ? value : std::nullopt;
    }
    return row.kind == text ? std::optional(0) : std::nullopt;
}

[[noreturn]] void RefuseFault(const std::string& specification, const std::string& why)
{
    throw std::invalid_argument("fault \"" + Excerpt(specification) + "\": " + why);
}

/// Words as "a, b or c".
template <class Range, class Name>
std::string Choices(const Range& range, const Name& nameOf)
{
    std::string text;
    for (std::size_t i = 0; i < range.size(); ++i) {
        text.append(i == 0 ? "" : i + 1 == range.size() ? " or " : ", ").append(nameOf(range[i]));
    }
    return text;
}

/// How a message names the kinds of a row.
std::string ChoiceOf(const FaultKind_T* pRow)
{
    return pRow->kind == c_ErrnoKind   ? "an error's name (such as EIO)"
           : pRow->kind == c_ValueKind ? "a number from 0 to " + std::to_string(c_HighestStatus)
                                       : std::string(pRow->kind);
}

/// The words that a fault of these rows can have as its kind.
std::vector<std::string> KindsOf(const std::vector<const FaultKind_T*>& rows)
{
    std::vector<std::string> words;
    for (const FaultKind_T* const pRow : rows) {
        if (pRow->kind != c_ErrnoKind && pRow->kind != c_ValueKind) {
            words.emplace_back(pRow->kind);
        }
        for (int error = 1; pRow->kind == c_ErrnoKind && error < c_MostErrors; ++error) {
            const char* const pName = ::strerrorname_np(error);
            words.emplace_back(pName != nullptr ? pName : "");
        }
    }
    return words;
}
} // namespace

Fault_T FaultOf(const std::string& specification)
{
    const std::string_view text = specification;
    const std::size_t colon = text.find(':');
    const std::size_t equals = text.find('=', colon == text.npos ? 0 : colon);
    if (colon == text.npos || equals == text.npos) {
        RefuseFault(specification, "is not of the form OPERATION:NUMBER=KIND");
    }
    const std::string_view operation = text.substr(0, colon);
    const std::string_view numberText = text.substr(colon + 1, equals - colon - 1);
    const std::string_view kind = text.substr(equals + 1);

    std::vector<const FaultKind_T*> kinds;
    for (const FaultKind_T& row : c_Kinds) {
        if (NameOf(row.operation) == operation) {
            kinds.push_back(&row);
        }
    }
    if (kinds.empty()) {
        const std::vector<std::string> names(c_FaultOperationNames.begin(), c_FaultOperationNames.end());
        RefuseFault(specification, "the operation must be " + Choices(names, std::identity()) +
                                       DidYouMean(std::string(operation), names));
    }
    const auto number =
        numberText == "*" ? std::optional<std::uint32_t>(0) : NumberIn<std::uint32_t>(numberText);
    if (!number || (*number == 0 && numberText != "*")) {
        RefuseFault(specification, "the number must be 1 to 4294967295, or *");
    }
    for (const FaultKind_T* const pRow : kinds) {
        if (const auto value = ValueOf(*pRow, kind)) {
            return {specification, pRow, *number, *value};
        }
    }
    RefuseFault(specification, "the kind must be " + Choices(kinds, ChoiceOf) +
                                   DidYouMean(std::string(kind), KindsOf(kinds)));
}

std::string FaultHelp()
{
    std::string text =
        "Faults: --fault OPERATION:NUMBER=KIND. NUMBER counts the unit's operations of that kind\n"
        "from 1; * means all of them. So reply:*=silent is a line that never answers.\n"
        "The operations from open on are system calls of the program. Those that begin with file are\n"
        "on the unit's files and on files that its arguments name, the others on device nodes.\n"
        "Half is rounded down.\n";
    for (const FaultKind_T& row : c_Kinds) {
        std::string form = std::string("  ").append(NameOf(row.operation)).append(":N=").append(row.kind);
        form.resize(22, ' ');
        text += form + std::string(row.explanation) + "\n";
    }
    return text;
}

std::string FaultList()
{
    std::string text;
    for (const FaultKind_T& row : c_Kinds) {
        text.append(NameOf(row.operation)).append(" ").append(row.kind).append("\n");
    }
    return text;
}
