#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <termios.h>
#include <vector>

using Bytes_T = std::vector<std::uint8_t>;
using ByteView_T = std::span<const std::uint8_t>;

/// More bytes than any firmware image has.
inline constexpr std::size_t c_LargestImage = std::size_t{64} << 20;

/// How the bytes of a reply become readable.
enum class Pace {
    AtOnce,
    Bytewise, ///< each one when the one before was read
    Slow      ///< each one half a second after the one before
};

/// A piece of a reply that becomes readable when what is before it was read.
struct ReplyPiece_T {
    std::size_t offset;                ///< in the reply, more than 0
    std::chrono::milliseconds delay{}; ///< from then on
};

/// What one operation on a device did. A model with power and firmware refuses each operation that it does
/// not understand.
struct DeviceOutcome_T {
    int error = 0;      ///< errno that the caller sees; 0: the operation succeeded
    Bytes_T fill = {};  ///< replaces the first bytes of a write, or of what a request points to; else empty
    Bytes_T reply = {}; ///< bytes that become readable for the caller
    std::vector<std::size_t> fifoStatusAt =
        {};                        ///< places in reply of FIFO status bytes, each followed by a checksum
    bool interruptWait = false;    ///< the operation was a wait for the interrupt
    bool faulted = false;          ///< a planned fault explains refusals
    std::string meaning = {};      ///< for the trace: registers, tables, requests by name
    std::string replyMeaning = {}; ///< for the trace: what the reply or the fill means
    std::vector<std::string> refusals = {};    ///< what the real device would not have understood
    std::chrono::nanoseconds linkTime{};       ///< time that the bytes need on the link, computed
    std::chrono::milliseconds replyDelay{};    ///< from the operation until the reply is readable
    Pace pace = Pace::AtOnce;                  ///< of the reply's bytes
    std::vector<ReplyPiece_T> morePieces = {}; ///< where the reply's later pieces begin, ascending
    std::optional<std::size_t> taken = {};     ///< count that a write reports; none: all of its bytes. For a
                                               ///< request, what it returns if that is not 0
};

/// Appends to a meaning of an outcome.
inline void AppendMeaning(std::string& text, std::string_view more)
{
    text.append(text.empty() ? "" : "; ").append(more);
}

/// One operation on a device, as it was carried out.
struct DeviceOperation_T {
    enum class Kind { Image, Ioctl, Write, Unasked };
    const std::string& device; ///< name of the node below /dev
    Kind kind;
    unsigned long request; ///< of an Ioctl
    ByteView_T bytes;      ///< the image, the request's argument, or what was written; empty for Unasked
    const DeviceOutcome_T& outcome;
};

/// A simulated device at one device node, seen from the kernel's boundary: whole writes, device requests,
/// and what other processes (a shell's "cat image > node") wrote to the node. One thread at a time calls it.
class IDeviceModel
{
public:
    virtual ~IDeviceModel() = default;

    /// One write() of the program.
    virtual DeviceOutcome_T Write(ByteView_T bytes) = 0;

    /// Number of bytes that the argument pointer of a request points to; 0 when the request takes none.
    virtual std::size_t IoctlArgumentSize(unsigned long) const { return 0; }
    /// One ioctl() of the program. An empty argument is a null pointer.
    virtual DeviceOutcome_T Ioctl(unsigned long request, ByteView_T argument) = 0;

    /// Everything that child processes wrote to the node since the last operation, in one piece.
    virtual DeviceOutcome_T TakeImage(ByteView_T bytes) = 0;

    /// What the device sends because of an operation on another node of the unit, as the reply of an outcome.
    virtual std::optional<DeviceOutcome_T> TakeUnasked() { return std::nullopt; }

    /// Seconds from one sample of the last ping to the next; 0 when there was none.
    virtual double SampleInterval() const { return 0; }

    /// Whether the node is a serial line, which begins with the settings of an interactive terminal.
    virtual bool IsSerialLine() const { return false; }
    /// Gives a serial line its present settings; called before each operation and before TakeUnasked().
    virtual void SetLine(const termios&) {}
};
