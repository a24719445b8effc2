#include "simulator/models/PacketFpgaModel.h"

#include "simulator/ValueText.h"
#include "simulator/models/WireBytes.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace
{
constexpr std::size_t c_AddressSpace = 0x10000;

constexpr std::uint8_t c_FifoClear = 2;
constexpr std::uint8_t c_ReadBeyondEnd = 0x01;
constexpr std::uint8_t c_DataLeft = 0x02;
constexpr std::uint8_t c_Empty = 0x04;
constexpr std::uint8_t c_DataLost = 0x08;

// The words of a ping-read descriptor: sync word, address of a FIFO's data, interrupt mode, two that are 1.
constexpr std::size_t c_DescriptorWordWidth = 4;
constexpr std::size_t c_FifoWord = 1;
constexpr std::size_t c_ModeWord = 2;
constexpr std::array<std::uint32_t, 5> c_PingReadDescriptor = {0x5343, 0, 0, 1, 1};
} // namespace

void CPacketFifo::Load(Bytes_T data)
{
    if (Left() > 0) {
        m_Errors |= c_DataLost;
    }
    m_Data = std::move(data);
    m_Taken = 0;
}

Bytes_T CPacketFifo::Take(std::size_t count)
{
    const ByteView_T there = ByteView_T(m_Data).subspan(m_Taken, std::min(count, Left()));
    Bytes_T bytes(there.begin(), there.end());
    bytes.resize(count);
    m_Taken += there.size();
    if (there.size() < count) {
        m_Errors |= c_ReadBeyondEnd;
    }
    return bytes;
}

std::uint8_t CPacketFifo::Status() const
{
    return static_cast<std::uint8_t>(m_Errors | (Left() > 0 ? c_DataLeft : c_Empty));
}

CPacketFpgaModel::CPacketFpgaModel(const FpgaSetup_T& setup, const CPacketRegisterMap& map,
                                   bool hasInterruptMode)
    : m_Map(map), m_HasInterruptMode(hasInterruptMode), m_Firmware(setup), m_Echo(setup.scene, setup.truth)
{
    static_assert(c_PingReadDescriptor.size() * c_DescriptorWordWidth == c_DescriptorSize);
    for (const PacketRegister_T& row : m_Map.Rows()) {
        if (row.access == RegisterAccess_T::Stream) {
            m_Fifos[row.address] = {};
        }
    }
    Reset();
}

DeviceOutcome_T CPacketFpgaModel::TakeImage(ByteView_T bytes)
{
    DeviceOutcome_T outcome;
    outcome.linkTime = LinkTime(bytes.size());
    CFpgaFirmware::Taken_T taken = m_Firmware.Take(bytes);
    outcome.meaning = std::move(taken.meaning);
    if (taken.hasRestarted) {
        Reset();
    }
    return outcome;
}

void CPacketFpgaModel::Transfer(ByteView_T bytes, DeviceOutcome_T& outcome)
{
    if (m_PingRead) {
        Fill(bytes.size(), outcome);
        return;
    }
    outcome.meaning = m_Firmware.Silence();
    if (!IsPowered()) {
        return;
    }
    for (const Packet_T& packet : DecodePackets(bytes, outcome.refusals)) {
        Perform(packet, outcome);
    }
}

void CPacketFpgaModel::StartPingRead(ByteView_T argument, DeviceOutcome_T& outcome)
{
    if (argument.size() != c_DescriptorSize) {
        Refuse(outcome, EFAULT, "start ping read without a descriptor");
        return;
    }
    std::array<std::uint32_t, c_PingReadDescriptor.size()> words{};
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = static_cast<std::uint32_t>(
            GetLittleEndian(argument, i * c_DescriptorWordWidth, c_DescriptorWordWidth));
    }
    auto expected = c_PingReadDescriptor;
    const auto fifo =
        std::ranges::find(m_Fifos, words[c_FifoWord], [](const auto& entry) { return entry.first; });
    expected[c_FifoWord] = (fifo != m_Fifos.end() ? fifo : m_Fifos.begin())->first;
    expected[c_ModeWord] = m_HasInterruptMode ? words[c_ModeWord] : 0;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] != expected[i]) {
            Refuse(outcome, EINVAL,
                   "word " + std::to_string(i) + " of the ping-read descriptor is " + HexText(words[i], 4) +
                       ", expected " + HexText(expected[i], 4));
            return;
        }
    }
    if (m_PingRead) {
        Refuse(outcome, EINVAL, "start ping read in a ping read");
    }
    m_PingRead = fifo->first;
}

void CPacketFpgaModel::EndPingRead(ByteView_T, DeviceOutcome_T& outcome)
{
    if (!std::exchange(m_PingRead, std::nullopt)) {
        Refuse(outcome, EINVAL, "end ping read without a ping read");
    }
}

void CPacketFpgaModel::SetInput(std::uint16_t address, std::uint32_t value)
{
    const PacketRegister_T* const pRow = m_Map.Find(address, false);
    assert(pRow != nullptr && pRow->access == RegisterAccess_T::Read);
    m_Inputs[address] = value;
    for (std::size_t i = 0; i < pRow->width; ++i) {
        m_Memory[pRow->NeedsBlockFlag() ? 1 : 0][address + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

ByteView_T CPacketFpgaModel::Registers(std::uint16_t address, std::size_t count) const
{
    return ByteView_T(m_Memory[0]).subspan(address, count);
}

ByteView_T CPacketFpgaModel::Tables(std::uint16_t address, std::size_t count) const
{
    return ByteView_T(m_Memory[1]).subspan(address, count);
}

void CPacketFpgaModel::Fill(std::size_t count, DeviceOutcome_T& outcome)
{
    outcome.meaning = "ping read";
    if (const std::string_view silence = m_Firmware.Silence(); !silence.empty()) {
        outcome.fill.assign(count, 0);
        outcome.replyMeaning = silence;
    } else {
        outcome.fill = TakeFifo(*m_PingRead, count, outcome);
    }
}

void CPacketFpgaModel::Perform(const Packet_T& packet, DeviceOutcome_T& outcome)
{
    if (const std::string why = m_Map.AccessRefusal(packet); !why.empty()) {
        outcome.refusals.push_back("offset " + std::to_string(packet.offset) + ": " + why);
        return;
    }
    const PacketRegister_T& row = *m_Map.Find(packet.address, packet.block);
    if (packet.read) {
        AppendMeaning(outcome.meaning, "read " + row.name);
        Answer(packet, row, outcome);
        return;
    }
    AppendMeaning(outcome.meaning, DescribeBytes(row, packet.address, packet.payload));
    if (m_Firmware.IsLoaded()) {
        outcome.meaning += Store(packet);
    }
    if (row.access == RegisterAccess_T::Debug) {
        Answer(packet, row, outcome);
    }
}

void CPacketFpgaModel::Answer(const Packet_T& packet, const PacketRegister_T& row, DeviceOutcome_T& outcome)
{
    Bytes_T data(packet.payload.size(), 0);
    const CPacketFifo* const pFifo = FifoWith(PacketAddress::c_FifoStatus, packet);
    if (m_Firmware.IsLoaded() && row.access == RegisterAccess_T::Stream) {
        data = TakeFifo(packet.address, data.size(), outcome);
    } else {
        if (m_Firmware.IsLoaded() && pFifo != nullptr) {
            data.front() = pFifo->Status();
        } else if (m_Firmware.IsLoaded()) {
            BeforeRead(packet.address);
            std::ranges::copy(packet.block ? Tables(packet.address, data.size())
                                           : Registers(packet.address, data.size()),
                              data.begin());
        }
        AppendMeaning(outcome.replyMeaning, DescribeBytes(row, packet.address, data));
    }
    if (pFifo != nullptr) {
        outcome.fifoStatusAt.push_back(outcome.reply.size());
    }
    outcome.reply.insert(outcome.reply.end(), data.begin(), data.end());
    outcome.reply.push_back(SumOfBytes(data));
}

/// Takes a write; returns what it caused, for the trace.
std::string CPacketFpgaModel::Store(const Packet_T& packet)
{
    const auto place = m_Memory[packet.block ? 1 : 0].begin() + packet.address;
    std::ranges::copy(packet.payload, place);
    if (packet.address == PacketAddress::c_Command) {
        return Command(packet.payload.front());
    }
    CPacketFifo* const pFifo = FifoWith(PacketAddress::c_FifoControl, packet);
    if (pFifo != nullptr && packet.payload.front() == c_FifoClear) {
        *pFifo = {};
        return " (clears the FIFO)";
    }
    return {};
}

std::string CPacketFpgaModel::FirePing(std::uint16_t fifo, const EchoSettings_T& settings)
{
    Bytes_T data;
    for (const std::uint16_t sample : m_Echo.Ping(settings)) {
        PutLittleEndian(data, sample, settings.bits / 8);
    }
    m_Fifos[fifo].Load(std::move(data));
    return " (ping of " + std::to_string(settings.samples) + " samples)";
}

void CPacketFpgaModel::Reset()
{
    for (Bytes_T& memory : m_Memory) {
        memory.assign(c_AddressSpace, 0);
    }
    for (const auto& [address, value] : m_Inputs) {
        SetInput(address, value);
    }
    m_Memory[0][PacketAddress::c_Version] = m_Firmware.Version();
    SetInterrupt(false);
    for (auto& [address, fifo] : m_Fifos) {
        fifo = {};
    }
}

Bytes_T CPacketFpgaModel::TakeFifo(std::uint16_t address, std::size_t count, DeviceOutcome_T& outcome)
{
    CPacketFifo& fifo = m_Fifos.at(address);
    const std::size_t there = fifo.Left();
    Bytes_T bytes = fifo.Take(count);
    AppendMeaning(outcome.replyMeaning, DescribeBytes(*m_Map.Find(address, false), address, bytes));
    if (there < count) {
        outcome.replyMeaning += ", " + std::to_string(count - there) + " more than there are";
    }
    return bytes;
}

CPacketFifo* CPacketFpgaModel::FifoWith(std::uint16_t offset, const Packet_T& packet)
{
    const auto found = m_Fifos.find(static_cast<std::uint16_t>(packet.address - offset));
    return found != m_Fifos.end() && !packet.block ? &found->second : nullptr;
}

std::uint32_t CPacketFpgaModel::Value(std::uint16_t address, std::size_t width) const
{
    return static_cast<std::uint32_t>(GetLittleEndian(m_Memory[0], address, width));
}
