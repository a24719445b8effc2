#include "simulator/CorFpgaModel.h"

#include "simulator/FirmwareImage.h"
#include "simulator/WireBytes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace
{

constexpr std::int64_t c_LinkHz = 24'000'000;

constexpr std::uint8_t c_CommandPing = 0x01;
constexpr std::uint8_t c_CommandIdentify = 0x7C;
constexpr std::size_t c_SampleCountUnit = 16;
constexpr std::size_t c_SampleWidth = 2;

constexpr std::uint8_t c_FifoClear = 2;

// Sync word, FIFO address, flags, and two words that the driver wants to be 1.
constexpr std::array<std::uint32_t, 5> c_PingReadDescriptor = {0x5343, CorAddress::c_FifoData, 0, 1, 1};
constexpr std::size_t c_DescriptorWordWidth = 4;
constexpr std::size_t c_DescriptorSize = c_PingReadDescriptor.size() * c_DescriptorWordWidth;

constexpr std::string_view c_NoPower = "no power";
constexpr std::string_view c_NoFirmware = "no firmware";

std::chrono::nanoseconds LinkTime(std::size_t bytes)
{
    // A byte takes a third of a microsecond.
    return std::chrono::nanoseconds(static_cast<std::int64_t>(bytes) * 8 * 1'000'000 / (c_LinkHz / 1000));
}

void Append(std::string& text, std::string_view more) { text.append(text.empty() ? "" : "; ").append(more); }

void Refuse(DeviceOutcome_T& outcome, int error, std::string why)
{
    outcome.error = error;
    outcome.refusals.push_back(std::move(why));
}

} // namespace

/// A request of the driver.
struct CCorFpgaModel::Request_T {
    std::uint32_t number;
    std::size_t argumentSize;
    const char* name;
    void (CCorFpgaModel::*act)(ByteView_T argument, DeviceOutcome_T& outcome);
};

const CCorFpgaModel::Request_T* CCorFpgaModel::FindRequest(unsigned long request)
{
    static constexpr std::array<Request_T, 4> requests{{
        {0x80047202, 0, "configure SPI", &CCorFpgaModel::Configure},
        {0x80047203, 0, "wait for interrupt", &CCorFpgaModel::WaitForInterrupt},
        {0x80047205, c_DescriptorSize, "start ping read", &CCorFpgaModel::StartPingRead},
        {0x80047206, 0, "end ping read", &CCorFpgaModel::EndPingRead},
    }};
    // The kernel looks at 32 bits of the number, however wide the caller made it.
    const auto found = std::ranges::find(requests, static_cast<std::uint32_t>(request), &Request_T::number);
    return found == requests.end() ? nullptr : found;
}

CCorFpgaModel::CCorFpgaModel(CorFpgaSetup_T setup) : m_Setup(std::move(setup)), m_Echo(m_Setup.scene)
{
    Reset(m_Setup.firmwareVersion);
}

DeviceOutcome_T CCorFpgaModel::Write(ByteView_T bytes)
{
    DeviceOutcome_T outcome;
    outcome.linkTime = LinkTime(bytes.size());
    if (!m_IsConfigured) {
        outcome.refusals.emplace_back("write before the device was configured");
    } else if (m_IsPingRead) {
        Fill(bytes.size(), outcome);
    } else if (!m_Setup.isPowered()) {
        outcome.meaning = c_NoPower;
    } else {
        CorDecoding_T decoding = DecodeCorPackets(bytes);
        outcome.refusals = std::move(decoding.refusals);
        if (!m_HasFirmware) {
            outcome.meaning = c_NoFirmware;
        }
        for (const CorPacket_T& packet : decoding.packets) {
            Perform(packet, outcome);
        }
    }
    return outcome;
}

std::size_t CCorFpgaModel::IoctlArgumentSize(unsigned long request) const
{
    const Request_T* found = FindRequest(request);
    return found != nullptr ? found->argumentSize : 0;
}

DeviceOutcome_T CCorFpgaModel::Ioctl(unsigned long request, ByteView_T argument)
{
    DeviceOutcome_T outcome;
    const Request_T* found = FindRequest(request);
    if (found == nullptr) {
        Refuse(outcome, ENOTTY, "unknown request " + HexText(request, 8));
        return outcome;
    }
    outcome.meaning = found->name;
    if (!m_IsConfigured && found->act != &CCorFpgaModel::Configure) {
        Refuse(outcome, EINVAL, outcome.meaning + " before the device was configured");
    } else {
        (this->*found->act)(argument, outcome);
    }
    return outcome;
}

void CCorFpgaModel::Configure(ByteView_T, DeviceOutcome_T&) { m_IsConfigured = true; }

void CCorFpgaModel::WaitForInterrupt(ByteView_T, DeviceOutcome_T& outcome)
{
    outcome.interruptWait = true;
    if (!m_Setup.isPowered()) {
        Append(outcome.meaning, c_NoPower);
    }
    if (!m_Setup.isPowered() || !std::exchange(m_InterruptPending, false)) {
        outcome.error = ETIMEDOUT;
    }
}

void CCorFpgaModel::StartPingRead(ByteView_T argument, DeviceOutcome_T& outcome)
{
    if (argument.size() != c_DescriptorSize) {
        Refuse(outcome, EFAULT, "start ping read without a descriptor");
        return;
    }
    for (std::size_t i = 0; i < c_PingReadDescriptor.size(); ++i) {
        const auto word = GetLittleEndian(argument, i * c_DescriptorWordWidth, c_DescriptorWordWidth);
        if (word != c_PingReadDescriptor[i]) {
            Refuse(outcome, EINVAL,
                   "word " + std::to_string(i) + " of the ping-read descriptor is " + HexText(word, 4) +
                       ", expected " + HexText(c_PingReadDescriptor[i], 4));
            return;
        }
    }
    if (std::exchange(m_IsPingRead, true)) {
        Refuse(outcome, EINVAL, "start ping read in a ping read");
    }
}

void CCorFpgaModel::EndPingRead(ByteView_T, DeviceOutcome_T& outcome)
{
    if (!std::exchange(m_IsPingRead, false)) {
        Refuse(outcome, EINVAL, "end ping read without a ping read");
    }
}

DeviceOutcome_T CCorFpgaModel::TakeImage(ByteView_T bytes)
{
    DeviceOutcome_T outcome;
    outcome.linkTime = LinkTime(bytes.size());
    if (!m_Setup.isPowered()) {
        outcome.meaning = c_NoPower;
        return outcome;
    }
    FirmwareReading_T image = ReadFirmwareImage(bytes);
    if (image.refusal.empty() && image.product != m_Setup.product) {
        image.refusal = "firmware image is for " + image.product;
    }
    if (image.refusal.empty()) {
        Reset(image.version);
        outcome.meaning = "firmware of " + image.product + ", version " + std::to_string(image.version);
    } else {
        Reset({});
        outcome.meaning = "not loaded: " + image.refusal;
    }
    return outcome;
}

void CCorFpgaModel::SetInput(std::uint16_t address, std::uint8_t value)
{
    assert(FindCorRegister(address) != nullptr && FindCorRegister(address)->access == CorAccess_T::Read);
    m_Inputs[address] = value;
    m_Memory[address] = value;
}

ByteView_T CCorFpgaModel::Contents(std::uint16_t address, std::size_t count) const
{
    assert(address + count <= m_Memory.size());
    return ByteView_T(m_Memory).subspan(address, count);
}

void CCorFpgaModel::Fill(std::size_t count, DeviceOutcome_T& outcome)
{
    outcome.meaning = "ping read";
    if (m_Setup.isPowered() && m_HasFirmware) {
        outcome.fill = TakeFifo(count, outcome);
    } else {
        outcome.fill.assign(count, 0);
        outcome.replyMeaning = m_Setup.isPowered() ? c_NoFirmware : c_NoPower;
    }
}

void CCorFpgaModel::Perform(const CorPacket_T& packet, DeviceOutcome_T& outcome)
{
    if (const std::string why = CorAccessRefusal(packet); !why.empty()) {
        outcome.refusals.push_back("offset " + std::to_string(packet.offset) + ": " + why);
        return;
    }
    const CorRegister_T& row = *FindCorRegister(packet.address);
    if (packet.read) {
        Append(outcome.meaning, "read " + std::string(row.name));
        Answer(packet, row, outcome);
        return;
    }
    Append(outcome.meaning, DescribeCorBytes(row, packet.address, packet.payload));
    if (m_HasFirmware) {
        outcome.meaning += Store(packet);
    }
}

void CCorFpgaModel::Answer(const CorPacket_T& packet, const CorRegister_T& row, DeviceOutcome_T& outcome)
{
    Bytes_T data(packet.payload.size(), 0);
    if (m_HasFirmware && row.access == CorAccess_T::Stream) {
        data = TakeFifo(data.size(), outcome);
    } else {
        if (m_HasFirmware && packet.address == CorAddress::c_FifoStatus) {
            data.front() = m_Fifo.Status();
        } else if (m_HasFirmware) {
            std::ranges::copy(Contents(packet.address, data.size()), data.begin());
        }
        Append(outcome.replyMeaning, DescribeCorBytes(row, packet.address, data));
    }
    if (packet.address == CorAddress::c_FifoStatus) {
        outcome.fifoStatusAt.push_back(outcome.reply.size());
    }
    outcome.reply.insert(outcome.reply.end(), data.begin(), data.end());
    outcome.reply.push_back(CorChecksum(data));
}

/// Takes a write; returns what it set off, for the trace.
std::string CCorFpgaModel::Store(const CorPacket_T& packet)
{
    std::ranges::copy(packet.payload, m_Memory.begin() + packet.address);
    if (packet.address == CorAddress::c_Command) {
        return Command(packet.payload.front());
    }
    if (packet.address == CorAddress::c_FifoControl && packet.payload.front() == c_FifoClear) {
        m_Fifo = {};
        return " (clears the FIFO)";
    }
    return {};
}

std::string CCorFpgaModel::Command(std::uint8_t command)
{
    std::string effect;
    if ((command & c_CommandIdentify) != 0) {
        m_InterruptPending = true;
        effect += " (identifies the transducer)";
    }
    if ((command & c_CommandPing) != 0) {
        effect += FirePing();
    }
    return effect;
}

std::string CCorFpgaModel::FirePing()
{
    const std::size_t count = Value(CorAddress::c_SampleCount, 2) * c_SampleCountUnit;
    const auto samples = m_Echo.Ping({.clockHz = m_Setup.clockHz,
                                      .samples = count,
                                      .tuningWord = Value(CorAddress::c_CentreFrequency, 4),
                                      .basebandDivisor = Value(CorAddress::c_BasebandSubSample, 1),
                                      .subSampleRate = Value(CorAddress::c_SubSampleRate, 1),
                                      .chirpEntries = Value(CorAddress::c_ChirpLength, 2)});
    Bytes_T data;
    data.reserve(samples.size() * c_SampleWidth);
    for (const std::uint16_t sample : samples) {
        PutLittleEndian(data, sample, c_SampleWidth);
    }
    m_Fifo.Load(std::move(data));
    return " (ping of " + std::to_string(count) + " samples)";
}

void CCorFpgaModel::Reset(std::optional<std::uint8_t> firmwareVersion)
{
    m_Memory.assign(c_CorAddressSpace, 0);
    for (const auto& [address, value] : m_Inputs) {
        m_Memory[address] = value;
    }
    m_HasFirmware = firmwareVersion.has_value();
    m_Memory[CorAddress::c_Version] = firmwareVersion.value_or(0);
    m_InterruptPending = false;
    m_Fifo = {};
}

Bytes_T CCorFpgaModel::TakeFifo(std::size_t count, DeviceOutcome_T& outcome)
{
    const std::size_t there = m_Fifo.Left();
    Bytes_T bytes = m_Fifo.Take(count);
    const CorRegister_T& row = *FindCorRegister(CorAddress::c_FifoData);
    Append(outcome.replyMeaning, DescribeCorBytes(row, row.address, bytes));
    if (there < count) {
        outcome.replyMeaning += ", " + std::to_string(count - there) + " more than there are";
    }
    return bytes;
}

std::uint32_t CCorFpgaModel::Value(std::uint16_t address, std::size_t width) const
{
    return static_cast<std::uint32_t>(GetLittleEndian(m_Memory, address, width));
}
