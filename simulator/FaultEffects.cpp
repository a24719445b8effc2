#include "simulator/FaultEffects.h"

#include "simulator/FaultOperations.h"

#include <algorithm>
#include <cerrno>

namespace FaultEffects
{

namespace
{
constexpr std::uint8_t c_NoisyBit = 0x10;
/// Longer than the program waits for a reply.
constexpr std::chrono::milliseconds c_Late(1500);
} // namespace

void Fail(Befallen_T& befallen, int error)
{
    befallen.outcome.error = error;
    befallen.arrives = false;
}

void CutWrite(Befallen_T& befallen, int)
{
    befallen.arriving = befallen.arriving.first(befallen.arriving.size() / 2);
    befallen.outcome.taken = befallen.arriving.size();
}

void MoveNothing(Befallen_T& befallen, int)
{
    befallen.outcome.taken = 0;
    befallen.arrives = false;
}

void PretendSuccess(Befallen_T& befallen, int) { befallen.arrives = false; }

void Drop(Befallen_T& befallen, int) { befallen.pBytes->clear(); }

void CutLastByte(Befallen_T& befallen, int)
{
    befallen.pBytes->resize(befallen.pBytes->empty() ? 0 : befallen.pBytes->size() - 1);
}

void CutSecondHalf(Befallen_T& befallen, int) { befallen.pBytes->resize(befallen.pBytes->size() / 2); }

void CorruptChecksum(Befallen_T& befallen, int)
{
    if (!befallen.pBytes->empty()) {
        ++befallen.pBytes->back();
    }
}

/// As a line does that lost a byte on the way.
void DropByte(Befallen_T& befallen, int)
{
    if (!befallen.pBytes->empty()) {
        befallen.pBytes->erase(befallen.pBytes->begin() + std::ssize(*befallen.pBytes) / 2);
    }
}

/// As a noisy line does to every byte.
void CorruptBytes(Befallen_T& befallen, int)
{
    for (std::uint8_t& byte : *befallen.pBytes) {
        byte ^= c_NoisyBit;
    }
}

void FlipBit(Befallen_T& befallen, int)
{
    if (!befallen.pBytes->empty()) {
        (*befallen.pBytes)[befallen.pBytes->size() / 2] ^= c_WrongBit;
    }
}

void ZeroBytes(Befallen_T& befallen, int) { std::ranges::fill(*befallen.pBytes, std::uint8_t{0}); }

/// A buffer that nothing came into before holds zeros.
void RepeatPrevious(Befallen_T& befallen, int)
{
    const Bytes_T& previous = *befallen.pPrevious;
    for (std::size_t i = 0; i < befallen.pBytes->size(); ++i) {
        (*befallen.pBytes)[i] = previous.empty() ? std::uint8_t{0} : previous[i % previous.size()];
    }
}

void DelayReply(Befallen_T& befallen, int) { befallen.outcome.replyDelay = c_Late; }

void SendBytewise(Befallen_T& befallen, int) { befallen.outcome.isBytewise = true; }

/// The FIFO status is one byte, which is its own checksum.
void AnswerStatus(Befallen_T& befallen, int status)
{
    std::fill_n(befallen.pBytes->begin() + static_cast<std::ptrdiff_t>(befallen.place), 2,
                static_cast<std::uint8_t>(status));
}

void TimeOut(Befallen_T& befallen, int) { befallen.outcome.error = ETIMEDOUT; }

} // namespace FaultEffects
