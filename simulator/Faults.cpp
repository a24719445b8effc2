#include "simulator/Faults.h"

#include "simulator/ErrorNames.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <limits>
#include <optional>
#include <stdexcept>

namespace
{

/// A kind of fault. Kinds in capitals stand for a value.
struct FaultKind_T {
    std::string_view operation;
    std::string_view kind;
    FaultTarget_T target;
    std::string_view explanation;
    void (*play)(DeviceOutcome_T& outcome, int value, std::size_t place);
};

constexpr std::string_view c_ErrnoKind = "ERRNO";
constexpr std::string_view c_ValueKind = "VALUE";
constexpr std::size_t c_Targets = 5;
constexpr int c_HighestStatus = 255;
constexpr std::uint8_t c_FlippedBit = 0x10;
/// Longer than the program waits for a reply.
constexpr std::chrono::milliseconds c_Late(1500);

void Fail(DeviceOutcome_T& outcome, int value, std::size_t) { outcome.error = value; }

void DropReply(DeviceOutcome_T& outcome, int, std::size_t) { outcome.reply.clear(); }

// Several faults can meet on one reply, so that there may be nothing left to damage.
void ShortenReply(DeviceOutcome_T& outcome, int, std::size_t)
{
    outcome.reply.resize(outcome.reply.empty() ? 0 : outcome.reply.size() - 1);
}

void CorruptChecksum(DeviceOutcome_T& outcome, int, std::size_t)
{
    if (!outcome.reply.empty()) {
        ++outcome.reply.back();
    }
}

/// As a line does that lost a byte on the way.
void DropByte(DeviceOutcome_T& outcome, int, std::size_t)
{
    if (!outcome.reply.empty()) {
        outcome.reply.erase(outcome.reply.begin() + std::ssize(outcome.reply) / 2);
    }
}

/// As a noisy line does to every byte.
void CorruptBytes(DeviceOutcome_T& outcome, int, std::size_t)
{
    for (std::uint8_t& byte : outcome.reply) {
        byte ^= c_FlippedBit;
    }
}

void DelayReply(DeviceOutcome_T& outcome, int, std::size_t) { outcome.replyDelay = c_Late; }

void SendBytewise(DeviceOutcome_T& outcome, int, std::size_t) { outcome.isBytewise = true; }

/// The FIFO status is one byte, which is its own checksum.
void AnswerValue(DeviceOutcome_T& outcome, int value, std::size_t place)
{
    std::fill_n(outcome.reply.begin() + static_cast<std::ptrdiff_t>(place), 2,
                static_cast<std::uint8_t>(value));
}

void TimeOut(DeviceOutcome_T& outcome, int, std::size_t) { outcome.error = ETIMEDOUT; }

constexpr std::array c_Kinds{
    FaultKind_T{"write", c_ErrnoKind, FaultTarget_T::Write, "the write fails with an error such as EIO",
                Fail},
    FaultKind_T{"ioctl", c_ErrnoKind, FaultTarget_T::Ioctl, "the request fails with an error such as EIO",
                Fail},
    FaultKind_T{"reply", "silent", FaultTarget_T::Reply, "the reply never arrives", DropReply},
    FaultKind_T{"reply", "short", FaultTarget_T::Reply, "the reply's last byte never arrives", ShortenReply},
    FaultKind_T{"reply", "checksum", FaultTarget_T::Reply, "the reply's last byte is one too high",
                CorruptChecksum},
    FaultKind_T{"reply", "dropped", FaultTarget_T::Reply, "a byte in the middle of the reply gets lost",
                DropByte},
    FaultKind_T{"reply", "corrupted", FaultTarget_T::Reply, "one bit of each byte of the reply is wrong",
                CorruptBytes},
    FaultKind_T{"reply", "late", FaultTarget_T::Reply, "the reply comes after one and a half seconds",
                DelayReply},
    FaultKind_T{"reply", "bytewise", FaultTarget_T::Reply, "each read gets one byte of the reply",
                SendBytewise},
    FaultKind_T{"fifo", c_ValueKind, FaultTarget_T::Fifo, "a read of the FIFO status answers VALUE, 0 to 255",
                AnswerValue},
    FaultKind_T{"interrupt", "never", FaultTarget_T::Interrupt, "the wait for the interrupt times out",
                TimeOut},
};

/// The number that a text is as a whole.
template <class Number>
std::optional<Number> NumberOf(std::string_view text)
{
    Number number{};
    const char* const pEnd = text.data() + text.size();
    const auto [pStop, error] = std::from_chars(text.data(), pEnd, number);
    return error == std::errc() && pStop == pEnd ? std::optional(number) : std::nullopt;
}

/// The value that a kind stands for: errno, FIFO status, 0 for a word. Nothing: the text is not of this kind.
std::optional<int> ValueOf(const FaultKind_T& row, std::string_view text)
{
    if (row.kind == c_ErrnoKind) {
        return ErrorNamed(text);
    }
    if (row.kind == c_ValueKind) {
        const auto value = NumberOf<int>(text);
        return value && *value >= 0 && *value <= c_HighestStatus ? value : std::nullopt;
    }
    return row.kind == text ? std::optional(0) : std::nullopt;
}

[[noreturn]] void Refuse(const std::string& specification, const std::string& why)
{
    throw std::invalid_argument("fault \"" + specification + "\": " + why);
}

/// The operation's kinds, or all operations for an empty one, as "a, b or c".
std::string Choices(std::string_view operation)
{
    std::vector<std::string> words;
    for (const FaultKind_T& row : c_Kinds) {
        const std::string word(operation.empty() ? row.operation : row.kind);
        if ((operation.empty() || row.operation == operation) &&
            std::ranges::find(words, word) == words.end()) {
            words.push_back(word);
        }
    }
    std::string text = words.front();
    for (std::size_t i = 1; i < words.size(); ++i) {
        text += (i + 1 == words.size() ? " or " : ", ") + words[i];
    }
    return text;
}

Fault_T FaultOf(const std::string& specification)
{
    const std::string_view text = specification;
    const std::size_t colon = text.find(':');
    const std::size_t equals = text.find('=', colon == text.npos ? 0 : colon);
    if (colon == text.npos || equals == text.npos) {
        Refuse(specification, "must read OPERATION:NUMBER=KIND");
    }
    const std::string_view operation = text.substr(0, colon);
    const std::string_view numberText = text.substr(colon + 1, equals - colon - 1);
    const std::string_view kind = text.substr(equals + 1);

    if (std::ranges::find(c_Kinds, operation, &FaultKind_T::operation) == c_Kinds.end()) {
        Refuse(specification, "the operation must be " + Choices({}));
    }
    const auto number = numberText == "*" ? std::optional<std::size_t>(0) : NumberOf<std::size_t>(numberText);
    if (!number || (*number == 0 && numberText != "*")) {
        Refuse(specification, "the number must be 1 or more, or *");
    }
    for (const FaultKind_T& row : c_Kinds) {
        if (row.operation == operation) {
            if (const auto value = ValueOf(row, kind)) {
                return {specification, row.target, *number, *value, row.play};
            }
        }
    }
    std::string choices = Choices(operation);
    if (choices == c_ErrnoKind) {
        choices = "the name of an error, such as EIO";
    } else if (choices == c_ValueKind) {
        choices = "a number from 0 to " + std::to_string(c_HighestStatus);
    }
    Refuse(specification, "the kind must be " + choices);
}

} // namespace

CFaultPlan::CFaultPlan(const std::vector<std::string>& specifications)
    : m_Counts(c_Targets, 0), m_Unstruck(specifications)
{
    std::ranges::transform(specifications, std::back_inserter(m_Faults), FaultOf);
}

std::vector<Fault_T> CFaultPlan::Next(FaultTarget_T target)
{
    const std::size_t count = ++m_Counts[static_cast<std::size_t>(target)];
    std::vector<Fault_T> due;
    std::ranges::copy_if(m_Faults, std::back_inserter(due), [&](const Fault_T& fault) {
        return fault.target == target && (fault.number == 0 || fault.number == count);
    });
    m_RequestFailed = m_RequestFailed || (target == FaultTarget_T::Ioctl && !due.empty());
    for (const Fault_T& fault : due) {
        std::erase(m_Unstruck, fault.specification);
    }
    return due;
}

std::string FaultHelp()
{
    std::string text =
        "Faults: --fault OPERATION:NUMBER=KIND, where NUMBER counts the unit's operations of that\n"
        "sort from 1, or is * for each of them; a line that is silent for good is reply:*=silent.\n";
    for (const FaultKind_T& row : c_Kinds) {
        std::string form = "  " + std::string(row.operation) + ":N=" + std::string(row.kind);
        form.resize(22, ' ');
        text += form + std::string(row.explanation) + "\n";
    }
    return text;
}

void CFaultyDevice::Befall(FaultTarget_T target, DeviceOutcome_T& outcome, std::size_t place)
{
    for (const Fault_T& fault : m_Plan.Next(target)) {
        fault.play(outcome, fault.value, place);
        for (std::string* pMeaning : {&outcome.meaning, &outcome.replyMeaning}) {
            *pMeaning += (pMeaning->empty() ? "fault " : "; fault ") + fault.specification;
        }
    }
    outcome.faulted = m_Plan.ExplainsRefusals();
}

DeviceOutcome_T CFaultyDevice::Write(ByteView_T bytes)
{
    DeviceOutcome_T outcome;
    Befall(FaultTarget_T::Write, outcome);
    if (outcome.error != 0) {
        return outcome;
    }
    outcome = m_Device.Write(bytes);
    for (const std::size_t place : outcome.fifoStatusAt) {
        Befall(FaultTarget_T::Fifo, outcome, place);
    }
    if (!outcome.reply.empty()) {
        Befall(FaultTarget_T::Reply, outcome);
    }
    outcome.faulted = m_Plan.ExplainsRefusals();
    return outcome;
}

std::size_t CFaultyDevice::IoctlArgumentSize(unsigned long request) const
{
    return m_Device.IoctlArgumentSize(request);
}

DeviceOutcome_T CFaultyDevice::Ioctl(unsigned long request, ByteView_T argument)
{
    DeviceOutcome_T outcome;
    Befall(FaultTarget_T::Ioctl, outcome);
    if (outcome.error != 0) {
        return outcome;
    }
    outcome = m_Device.Ioctl(request, argument);
    if (outcome.interruptWait) {
        Befall(FaultTarget_T::Interrupt, outcome);
    }
    outcome.faulted = m_Plan.ExplainsRefusals();
    return outcome;
}

DeviceOutcome_T CFaultyDevice::TakeImage(ByteView_T bytes)
{
    DeviceOutcome_T outcome = m_Device.TakeImage(bytes);
    outcome.faulted = m_Plan.ExplainsRefusals();
    return outcome;
}

std::optional<DeviceOutcome_T> CFaultyDevice::TakeUnasked()
{
    std::optional<DeviceOutcome_T> outcome = m_Device.TakeUnasked();
    if (outcome) {
        Befall(FaultTarget_T::Reply, *outcome);
    }
    return outcome;
}
