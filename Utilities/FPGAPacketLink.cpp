#include "Utilities/FPGAPacketLink.h"

#include "Utilities/IOSSFile.h"
#include "Utilities/ProcessLifetime.h"

#include <algorithm>
#include <charconv>
#include <poll.h>
#include <tuple>

namespace
{
// Command packet.
constexpr std::uint32_t c_SyncWord = 0x5343;
constexpr std::size_t c_SyncOffset = 0;
constexpr std::size_t c_AddressOffset = 2;
constexpr std::size_t c_FlagsOffset = 4;
constexpr std::size_t c_LengthOffset = 5;
constexpr std::size_t c_WordWidth = 2;
constexpr std::size_t c_HeaderSize = 7;
constexpr std::size_t c_ChecksumSize = 1;
constexpr std::uint8_t c_FlagRead = 0x01;
constexpr std::uint8_t c_FlagBlock = 0x02;
static_assert(sizeof(CorFPGADataHeader_T) == c_HeaderSize);
static_assert(c_LengthOffset + c_WordWidth == c_HeaderSize);

// Bounds of a packet and of a transfer.
constexpr std::size_t c_SplitThreshold = 5056; ///< header and payload
constexpr std::size_t c_LargestPayload = 5049;
constexpr std::size_t c_TransferBound = 5057;
/// The bound is tested before header and checksum of the last packet are added.
constexpr std::size_t c_LargestTransfer = c_TransferBound - 1 + c_HeaderSize + c_ChecksumSize;

// Requests of the driver.
constexpr unsigned long c_StartPingRead = 0x80047205;
constexpr unsigned long c_EndPingRead = 0x80047206;
static_assert(sizeof(int) == 4, "the ping-read descriptor has 32-bit words");

constexpr int c_ReplyTimeoutMs = 1000;

/// Registers count samples in units of 16.
constexpr std::uint32_t c_SamplesPerUnit = 16;
} // namespace

CFPGAPacketLink::CFPGAPacketLink(const char* ClassName, const std::string& SerialDevicePath,
                                 IOSSFactory* pFactory)
    : CFPGALink(ClassName, "SPI", SerialDevicePath, pFactory)
{
}

void CFPGAPacketLink::OpenDevice()
{
    CFPGALink::OpenDevice();
    KeepUntilExit(std::unique_ptr<IOSSFile>(m_SerialPort));
}

TSQEventCode_T CFPGAPacketLink::ReceiveData(Buffer_Bytes_T* Buffer)
{
    m_ErrorCode = c_Success;
    const std::size_t wanted = Buffer->size();
    std::vector<std::uint8_t> reply(wanted + c_ChecksumSize);
    if (m_SerialPort->Poll(POLLIN, c_ReplyTimeoutMs) <= 0) {
        return m_ErrorCode;
    }
    Buffer_Bytes_T received(reply.data(), reply.size());
    if (!m_SerialPort->Read(&received)) {
        m_ErrorCode = m_SerialPort->GetErrorCode();
        ReportError(m_ErrorCode, "ReceiveData", "failed to read data from SPI " + m_DevicePath);
        return m_ErrorCode;
    }
    const std::span data = std::span(reply).first(wanted);
    std::copy(data.begin(), data.end(), Buffer->data());
    if (const std::uint8_t calculated = Checksum(data); calculated != reply.back()) {
        ReportError(c_Success, "ReceiveData",
                    "chksum ERROR : calculated " + HexText(calculated) + " received " +
                        HexText(reply.back()));
    }
    return m_ErrorCode;
}

TSQEventCode_T CFPGAPacketLink::CreateCommandPacket(Buffer_Bytes_T* Data, unsigned short address, bool read,
                                                    bool block, bool singleTransfer)
{
    const std::size_t total = Data->size();
    if (singleTransfer || total + c_HeaderSize < c_SplitThreshold) {
        return PopulateCommandPacket(Data, address, read, block, singleTransfer);
    }
    TSQEventCode_T result = c_Success;
    for (std::size_t taken = 0; taken < total; taken += c_LargestPayload) {
        Buffer_Bytes_T chunk(Data->data() + taken, std::min(c_LargestPayload, total - taken));
        // Addresses have 16 bits and wrap.
        result =
            PopulateCommandPacket(&chunk, static_cast<unsigned short>(address + taken), read, block, false);
    }
    return result;
}

TSQEventCode_T CFPGAPacketLink::PopulateCommandPacket(Buffer_Bytes_T* Data, unsigned short address, bool read,
                                                      bool block, bool singleTransfer)
{
    CorFPGADataHeader_T header{};
    PutLittleEndian(header.data() + c_SyncOffset, c_WordWidth, c_SyncWord);
    PutLittleEndian(header.data() + c_AddressOffset, c_WordWidth, address);
    header[c_FlagsOffset] = static_cast<std::uint8_t>((read ? c_FlagRead : 0) | (block ? c_FlagBlock : 0));
    PutLittleEndian(header.data() + c_LengthOffset, c_WordWidth,
                    static_cast<std::uint32_t>(Data->size() - 1));
    return AddToTransmitBuffer(Data, &header, singleTransfer);
}

TSQEventCode_T CFPGAPacketLink::AddToTransmitBuffer(Buffer_Bytes_T* Data, CorFPGADataHeader_T* Header,
                                                    bool singleTransfer)
{
    if (!singleTransfer && m_TransmitBuffer.size() + Data->size() >= c_TransferBound) {
        TransferToDataToGoArray();
    }
    m_TransmitBuffer.reserve(c_LargestTransfer);
    m_TransmitBuffer.insert(m_TransmitBuffer.end(), Header->begin(), Header->end());
    if (((*Header)[c_FlagsOffset] & c_FlagRead) != 0) {
        m_TransmitBuffer.resize(m_TransmitBuffer.size() + Data->size() + c_ChecksumSize);
    } else {
        const std::span payload(Data->data(), Data->size());
        m_TransmitBuffer.insert(m_TransmitBuffer.end(), payload.begin(), payload.end());
        m_TransmitBuffer.push_back(Checksum(payload));
    }
    return c_Success;
}

unsigned int CFPGAPacketLink::SendTransfer(std::vector<std::uint8_t>& transfer)
{
    const auto length = static_cast<unsigned int>(transfer.size());
    if (length == 0) {
        return 0;
    }
    Buffer_Bytes_T buffer(transfer.data(), length);
    const TSQEventCode_T result = SendData(&buffer);
    transfer.clear();
    return result == c_Success ? length : 0;
}

unsigned int CFPGAPacketLink::TransmitDataToFPGA()
{
    unsigned int total = 0;
    for (std::vector<std::uint8_t>& transfer : m_DataToGo) {
        total += SendTransfer(transfer);
    }
    m_DataToGo.clear();
    return total + SendCurrentTransfer();
}

unsigned int CFPGAPacketLink::ReceiveDataFromFPGA(Buffer_Bytes_T* Buffer)
{
    const unsigned int sent = SendCurrentTransfer();
    if (sent != 0 && Buffer->size() != 0) {
        ReceiveData(Buffer);
    }
    return sent;
}

TSQEventCode_T CFPGAPacketLink::TestFPGAAccess(Buffer_Bytes_T* Buffer, unsigned short address, bool read,
                                               bool block)
{
    const TSQEventCode_T queued = CreateCommandPacket(Buffer, address, read, block, false);
    return read ? ReceiveNow(queued, Buffer) : TransmitNow(queued);
}

TSQEventCode_T CFPGAPacketLink::WriteRegister(const RegisterRow_T& row, std::uint32_t value)
{
    std::array<std::uint8_t, sizeof(value)> bytes{};
    PutLittleEndian(bytes.data(), row.width, value);
    const std::size_t step = row.packets == Packets::OnePerByte ? 1 : row.width;
    TSQEventCode_T queued = c_Success;
    for (std::size_t at = 0; at < row.width && queued == c_Success; at += step) {
        Buffer_Bytes_T data(bytes.data() + at, step);
        queued = CreateCommandPacket(&data, static_cast<CorFPGAAddress_T>(row.address + at), false, row.block,
                                     false);
    }
    return row.delivery == Delivery::Sent ? TransmitNow(queued) : queued;
}

TSQEventCode_T CFPGAPacketLink::WriteSampleCount(const RegisterRow_T& row, FpgaAdcSamples_T samples)
{
    return WriteRegister(row, samples / c_SamplesPerUnit);
}

TSQEventCode_T CFPGAPacketLink::ReadRegister(const RegisterRow_T& row, std::uint8_t* pBytes)
{
    Buffer_Bytes_T reply(pBytes, row.width);
    return TestFPGAAccess(&reply, row.address, true, row.block);
}

TSQEventCode_T CFPGAPacketLink::ReadVersion(SWVersion_T* pVersion)
{
    std::uint8_t version = 0xFF;
    const TSQEventCode_T result = ReadRegister(PacketRegisters::c_Version, &version);
    if (result == c_Success) {
        *pVersion = {version, 0};
    }
    return result;
}

TSQEventCode_T CFPGAPacketLink::SetBoostLevel(unsigned char Level)
{
    return WriteRegister(PacketRegisters::c_BoostLevel, Level);
}

TSQEventCode_T CFPGAPacketLink::SetSyncRegister(bFpgaPSUSyncRegister Sync)
{
    return WriteRegister(PacketRegisters::c_Sync, Sync.value);
}

TSQEventCode_T CFPGAPacketLink::TransmitNow(TSQEventCode_T queued)
{
    return TransmitDataToFPGA() != 0 ? queued : c_NothingTransferred;
}

TSQEventCode_T CFPGAPacketLink::ReceiveNow(TSQEventCode_T queued, Buffer_Bytes_T* Buffer)
{
    return ReceiveDataFromFPGA(Buffer) != 0 ? queued : c_NothingTransferred;
}

TSQEventCode_T CFPGAPacketLink::ReadPingFifo(const RegisterRow_T& fifo, int interruptMode,
                                             Buffer_Bytes_T* Buffer)
{
    std::array<int, 5> descriptor{static_cast<int>(c_SyncWord), fifo.address, interruptMode, 1, 1};
    // Between the two requests write() returns data: the driver fills the buffer with samples.
    std::ignore = m_SerialPort->Ioctl(c_StartPingRead, descriptor.data());
    const TSQEventCode_T result = SendData(Buffer);
    std::ignore = m_SerialPort->Ioctl(c_EndPingRead, nullptr);
    return result;
}

std::string CFPGAPacketLink::HexText(unsigned int value)
{
    std::array<char, 2 * sizeof(value)> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return {digits.data(), end};
}
