#include "simulator/trace/TraceCheck.h"

#include "simulator/ValueText.h"
#include "simulator/models/PacketProtocol.h"
#include "simulator/models/WireBytes.h"
#include "simulator/unit/UnitDevices.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <map>
#include <numeric>
#include <stdexcept>

namespace
{
using Kind = DeviceOperation_T::Kind;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// An operation of the trace, and what the device of the virtual unit does with it.
struct Compared_T {
    const TraceOperation_T& operation;
    const DeviceOutcome_T& expected;
    Link link;

    const DeviceOutcome_T& Actual() const { return operation.outcome; }
    bool HasPackets() const { return link == Link::CorSpi || link == Link::LumetSpi; }
};

/// What the virtual unit assumes. Where it does not apply to an operation, the operation shows nothing of it.
struct Assumption_T {
    const char* name;
    bool (*applies)(const Compared_T& compared);
    /// What happened instead; empty: it holds.
    std::string (*breach)(const Compared_T& compared);
};

std::string Failure(int error) { return error == 0 ? "" : "it fails with " + ErrorName(error); }

std::string Difference(std::size_t actual, std::size_t expected, const char* what)
{
    return actual == expected ? ""
                              : ByteCount(actual) + " " + what + ", expected " + std::to_string(expected);
}

bool IsRequest(const Compared_T& compared)
{
    return compared.operation.kind == Kind::Ioctl && !compared.expected.interruptWait;
}

bool IsWrite(const Compared_T& compared) { return compared.operation.kind == Kind::Write; }

bool IsWholeWrite(const Compared_T& compared)
{
    return IsWrite(compared) && compared.Actual().error == 0 && !compared.Actual().taken;
}

bool IsPingRead(const Compared_T& compared)
{
    return IsWholeWrite(compared) && !compared.expected.fill.empty();
}

/// The bytes of a ping read before the rest of the buffer, which is as it was. A recording has all bytes.
std::size_t FilledBytes(const Compared_T& compared)
{
    constexpr std::size_t byChance = 64;
    const Bytes_T& before = compared.operation.bytes.values;
    std::size_t filled = compared.Actual().fill.size();
    while (filled > 0 && compared.Actual().fill[filled - 1] == before[filled - 1]) {
        --filled;
    }
    return compared.Actual().fill.size() - filled > byChance ? filled : compared.Actual().fill.size();
}

/// Whether the reply has the size of the virtual unit's.
bool HasReply(const Compared_T& compared)
{
    return !compared.expected.reply.empty() &&
           compared.Actual().reply.size() == compared.expected.reply.size();
}

// What a Lowscan FPGA sends for a ping.
constexpr std::size_t c_PacketHead = 2;
constexpr std::size_t c_BlockSamples = 128;
constexpr std::size_t c_BlockValues = 4; ///< bytes of the two values after the samples
constexpr std::uint32_t c_UnusedBits = 0x000F000F;

bool IsLowscanPing(const Compared_T& compared)
{
    return HasReply(compared) && compared.expected.replyMeaning.starts_with("ping of channel");
}

/// The samples that an operation shows; none if it shows none.
std::vector<std::uint32_t> SamplesOf(const Compared_T& compared)
{
    std::vector<std::uint32_t> samples;
    if (compared.HasPackets()) {
        const ByteView_T fill = compared.Actual().fill;
        const std::size_t width = compared.link == Link::CorSpi ? 2 : 1;
        for (std::size_t at = 0; at + width <= fill.size(); at += width) {
            samples.push_back(static_cast<std::uint32_t>(GetLittleEndian(fill, at, width)));
        }
    } else if (IsLowscanPing(compared)) {
        const ByteView_T reply = compared.Actual().reply;
        for (std::size_t at = c_PacketHead; at + 1 < reply.size();) {
            const std::size_t end = std::min(at + c_BlockSamples, reply.size() - 1);
            samples.insert(samples.end(), reply.begin() + static_cast<std::ptrdiff_t>(at),
                           reply.begin() + static_cast<std::ptrdiff_t>(end));
            at = end + c_BlockValues;
        }
    }
    return samples;
}

/// The highest samples of the first and of the last quarter.
std::pair<std::uint32_t, std::uint32_t> Ends(const Compared_T& compared)
{
    const std::vector<std::uint32_t> samples = SamplesOf(compared);
    const std::size_t quarter = samples.size() / 4;
    if (quarter == 0) {
        return {};
    }
    const std::span all(samples);
    return {*std::ranges::max_element(all.first(quarter)), *std::ranges::max_element(all.last(quarter))};
}

/// How much neighbouring samples of two bytes differ, by the byte that is taken as the more significant one.
std::pair<double, double> Roughness(const Compared_T& compared)
{
    const std::vector<std::uint32_t> samples = SamplesOf(compared);
    const auto swapped = [](std::uint32_t sample) { return (sample & 0xFF) << 8 | sample >> 8; };
    std::pair<double, double> sums;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        const auto distance = [](double one, double other) { return std::abs(one - other); };
        sums.first += distance(samples[i], samples[i - 1]);
        sums.second += distance(swapped(samples[i]), swapped(samples[i - 1]));
    }
    return sums;
}

std::string WrongChecksum(const Compared_T& compared)
{
    std::vector<std::string> refusals;
    ByteView_T rest = compared.Actual().reply;
    for (const Packet_T& packet : DecodePackets(compared.operation.bytes.values, refusals)) {
        const std::size_t size = packet.payload.size();
        if (!packet.read || rest.size() <= size) {
            continue;
        }
        if (const std::uint8_t sum = SumOfBytes(rest.first(size)); sum != rest[size]) {
            return "checksum " + HexText(rest[size], 2) + ", but the sum is " + HexText(sum, 2);
        }
        rest = rest.subspan(size + 1);
    }
    return {};
}

std::string WrongFifoStatus(const Compared_T& compared)
{
    for (const std::size_t at : compared.expected.fifoStatusAt) {
        if (compared.Actual().reply[at] != compared.expected.reply[at]) {
            return "status " + HexText(compared.Actual().reply[at], 2) + ", expected " +
                   HexText(compared.expected.reply[at], 2);
        }
    }
    return {};
}

std::string WrongValues(const Compared_T& compared)
{
    const ByteView_T reply = compared.Actual().reply;
    constexpr std::size_t block = c_BlockSamples + c_BlockValues;
    for (std::size_t at = c_PacketHead; at + block < reply.size(); at += block) {
        const std::uint32_t values = GetBigEndian(reply, at + c_BlockSamples, c_BlockValues);
        if ((values & c_UnusedBits) != 0) {
            return "the values after sample " + std::to_string(c_BlockSamples) + " of a block are " +
                   HexText(values, 8) + ", but bits 0 to 3 of both must be 0";
        }
    }
    return {};
}

/// From the end of the program's call until the reply could be read.
nanoseconds Wait(const Compared_T& compared)
{
    const TraceOperation_T& operation = compared.operation;
    const bool isReal = operation.realTimes && !operation.replyTimes.empty();
    return isReal ? operation.replyTimes.front().times.end - operation.realTimes->end
                  : nanoseconds(compared.Actual().replyDelay);
}

/// From the beginning of the program's call until all was sent and received.
nanoseconds Duration(const Compared_T& compared)
{
    const TraceOperation_T& operation = compared.operation;
    const nanoseconds end =
        operation.replyTimes.empty() ? operation.realTimes->end : operation.replyTimes.back().times.end;
    return end - operation.realTimes->begin;
}

std::string Milliseconds(nanoseconds time)
{
    const auto tenths = std::chrono::duration_cast<std::chrono::microseconds>(time).count() / 100;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " ms";
}

constexpr nanoseconds c_LongestWait = std::chrono::seconds(1);
constexpr nanoseconds c_Measurable = milliseconds(1); ///< of link time
constexpr double c_ShareOfLinkTime = 0.9;

constexpr Assumption_T c_Assumptions[] = {
    {"image", [](const Compared_T& compared) { return compared.operation.kind == Kind::Image; },
     [](const Compared_T& compared) { return Failure(compared.Actual().error); }},
    {"requests", IsRequest, [](const Compared_T& compared) { return Failure(compared.Actual().error); }},
    {"request-result",
     [](const Compared_T& compared) {
         return compared.operation.kind == Kind::Ioctl && compared.Actual().error == 0;
     },
     [](const Compared_T& compared) -> std::string {
         const std::size_t result = compared.Actual().taken.value_or(0);
         return result != 0                       ? "it returns " + std::to_string(result)
                : !compared.Actual().fill.empty() ? "it changes the argument"
                                                  : "";
     }},
    {"whole-writes", IsWrite,
     [](const Compared_T& compared) {
         const DeviceOutcome_T& actual = compared.Actual();
         const std::size_t size = compared.operation.bytes.values.size();
         return actual.error != 0 ? Failure(actual.error)
                                  : Difference(actual.taken.value_or(size), size, "were taken");
     }},
    {"buffer-kept",
     [](const Compared_T& compared) { return IsWholeWrite(compared) && compared.expected.fill.empty(); },
     [](const Compared_T& compared) {
         return Difference(compared.Actual().fill.size(), 0, "of the program's buffer were replaced");
     }},
    {"ping-read", IsPingRead,
     [](const Compared_T& compared) {
         return Difference(FilledBytes(compared), compared.expected.fill.size(),
                           "of the program's buffer were filled");
     }},
    {"reply",
     [](const Compared_T& compared) { return IsWholeWrite(compared) && !compared.expected.reply.empty(); },
     [](const Compared_T& compared) {
         return Difference(compared.Actual().reply.size(), compared.expected.reply.size(), "came");
     }},
    {"no-reply",
     [](const Compared_T& compared) {
         return compared.operation.kind != Kind::Unasked && compared.expected.reply.empty();
     },
     [](const Compared_T& compared) { return Difference(compared.Actual().reply.size(), 0, "came"); }},
    {"one-piece", [](const Compared_T& compared) { return compared.HasPackets() && HasReply(compared); },
     [](const Compared_T& compared) -> std::string {
         const bool isWhole = compared.Actual().morePieces.empty() && compared.Actual().pace == Pace::AtOnce;
         return isWhole ? "" : "the reply came in pieces";
     }},
    {"reply-time", HasReply,
     [](const Compared_T& compared) {
         return Wait(compared) < c_LongestWait ? "" : "the reply came after " + Milliseconds(Wait(compared));
     }},
    {"reply-checksum", [](const Compared_T& compared) { return compared.HasPackets() && HasReply(compared); },
     WrongChecksum},
    {"fifo-status",
     [](const Compared_T& compared) { return HasReply(compared) && !compared.expected.fifoStatusAt.empty(); },
     WrongFifoStatus},
    {"own-line", [](const Compared_T& compared) { return compared.operation.kind == Kind::Unasked; },
     [](const Compared_T& compared) {
         return Difference(compared.Actual().reply.size(), compared.expected.reply.size(), "came");
     }},
    {"block-values", IsLowscanPing, WrongValues},
    {"sample-order",
     [](const Compared_T& compared) {
         const auto [first, last] = Ends(compared);
         return first != last;
     },
     [](const Compared_T& compared) -> std::string {
         const auto [first, last] = Ends(compared);
         return first > last ? "" : "the last quarter has a higher sample than the first";
     }},
    {"sample-bytes",
     [](const Compared_T& compared) {
         const auto [low, high] = Roughness(compared);
         return compared.link == Link::CorSpi && low != high;
     },
     [](const Compared_T& compared) -> std::string {
         const auto [low, high] = Roughness(compared);
         return low < high ? "" : "the samples are smoother if the first byte is the more significant one";
     }},
    {"link-time",
     [](const Compared_T& compared) {
         return compared.operation.realTimes.has_value() && compared.Actual().error == 0 &&
                compared.operation.kind == Kind::Write && compared.expected.linkTime >= c_Measurable;
     },
     [](const Compared_T& compared) -> std::string {
         const bool isLong = Duration(compared) >= compared.expected.linkTime * c_ShareOfLinkTime;
         return isLong ? ""
                       : "it took " + Milliseconds(Duration(compared)) + ", the link needs " +
                             Milliseconds(compared.expected.linkTime);
     }},
};

/// The devices of a virtual unit that has power and firmware, and does what the program of a trace did.
class CModels
{
public:
    explicit CModels(const Product_T& product)
        : m_NeedsReset(product.firmware.resetsFirst), m_Image(MakeFirmwareImage(product.name, 1)),
          m_Devices(MakeUnitDevices(
              product, {.product = product.name, .firmwareVersion = 1, .needsReset = m_NeedsReset},
              m_NoFaults))
    {
        termios line{};
        line.c_cflag = CS8;
        line.c_iflag = IXOFF;
        ::cfsetispeed(&line, B3000000);
        ::cfsetospeed(&line, B3000000);
        if (m_NeedsReset) {
            m_Image.insert(m_Image.begin(), {'1', '\n'});
        }
        for (const UnitDevice_T& device : m_Devices) {
            device.device->SetLine(line);
            device.device->TakeImage(m_Image);
        }
    }

    /// Null if there is no such node.
    IDeviceModel* Find(const std::string& node) const
    {
        const auto found = std::ranges::find(m_Devices, node, &UnitDevice_T::node);
        return found == m_Devices.end() ? nullptr : found->device.get();
    }

    /// The images of a unit are not those of the virtual unit.
    DeviceOutcome_T Perform(IDeviceModel& device, const TraceOperation_T& operation) const
    {
        switch (operation.kind) {
        case Kind::Image:
            return device.TakeImage(m_Image);
        case Kind::Ioctl:
            return device.Ioctl(operation.request, operation.bytes.values);
        case Kind::Write:
            return device.Write(operation.bytes.values);
        case Kind::Unasked:
            break;
        }
        return {};
    }

    /// What the nodes send now because of an operation on another one, by node.
    std::map<std::string, DeviceOutcome_T> TakeUnasked(const IDeviceModel& of) const
    {
        std::map<std::string, DeviceOutcome_T> unasked;
        for (const UnitDevice_T& device : m_Devices) {
            if (device.device.get() != &of) {
                if (auto outcome = device.device->TakeUnasked()) {
                    unasked[device.node] = std::move(*outcome);
                }
            }
        }
        return unasked;
    }

private:
    CFaultPlan m_NoFaults{{}};
    bool m_NeedsReset;
    Bytes_T m_Image;
    std::vector<UnitDevice_T> m_Devices;
};

void Judge(const Compared_T& compared, std::vector<AssumptionResult_T>& results)
{
    for (std::size_t i = 0; i < results.size(); ++i) {
        const Assumption_T& assumption = c_Assumptions[i];
        AssumptionResult_T& result = results[i];
        if (!assumption.applies(compared)) {
            continue;
        }
        ++result.seen;
        if (result.line == 0) {
            result.what = assumption.breach(compared);
            result.line = result.what.empty() ? 0 : compared.operation.line;
        }
    }
}
} // namespace

std::vector<AssumptionResult_T> CheckTrace(const TraceFile_T& trace, const Product_T& product)
{
    std::vector<AssumptionResult_T> results;
    for (const Assumption_T& assumption : c_Assumptions) {
        results.push_back({assumption.name});
    }
    const CModels models(product);
    std::map<std::string, DeviceOutcome_T> unasked;
    std::size_t line = 0; // of the operation that they belong to
    const auto judgeMissing = [&] {
        for (const auto& [node, expected] : unasked) {
            const TraceOperation_T nothing{
                .line = line, .device = node, .kind = Kind::Unasked, .request = 0, .time = {}};
            Judge({nothing, expected, product.link}, results);
        }
        unasked.clear();
    };
    for (const TraceOperation_T& operation : trace.operations) {
        IDeviceModel* const pDevice = models.Find(operation.device);
        assert(pDevice != nullptr);
        const auto& isOpen = operation.bytes.isOpen;
        if (operation.kind != Kind::Image && std::ranges::find(isOpen, true) != isOpen.end()) {
            throw std::runtime_error(PlaceIn(trace.name, operation.line) +
                                     "bytes that can have any value cannot be checked");
        }
        if (operation.kind == Kind::Unasked) {
            const auto found = unasked.extract(operation.device);
            Judge({operation, found ? found.mapped() : DeviceOutcome_T(), product.link}, results);
            continue;
        }
        judgeMissing();
        Judge({operation, models.Perform(*pDevice, operation), product.link}, results);
        unasked = models.TakeUnasked(*pDevice);
        line = operation.line;
    }
    judgeMissing();
    return results;
}

std::string TraceCheckText(const std::vector<AssumptionResult_T>& results, const std::string& name)
{
    std::string text;
    for (const AssumptionResult_T& result : results) {
        const std::string finding = result.line != 0 ? "broken" : result.seen != 0 ? "held" : "not seen";
        std::string entry = finding + std::string(10 - finding.size(), ' ') + result.name;
        if (result.line != 0) {
            entry += std::string(16 - std::string_view(result.name).size(), ' ') +
                     PlaceIn(name, result.line) + result.what;
        } else if (result.seen != 0) {
            entry += std::string(16 - std::string_view(result.name).size(), ' ') + "seen " +
                     std::to_string(result.seen) + (result.seen == 1 ? " time" : " times");
        }
        text += entry + "\n";
    }
    return text;
}
