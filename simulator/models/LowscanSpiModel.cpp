#include "simulator/models/LowscanSpiModel.h"

#include "simulator/ValueText.h"
#include "simulator/models/WireBytes.h"

#include <algorithm>
#include <array>

namespace
{
constexpr std::uint8_t c_ReadFirstPacket = 0x10;

constexpr std::size_t c_AddressWidth = 2;
constexpr std::size_t c_RecordWidth = 6;
constexpr std::size_t c_Records = 14;

constexpr std::size_t c_VersionReplySize = 4;
constexpr std::array<std::uint8_t, 5> c_VersionRequest = {0x03, 0x00, 0x00, 0xFF, 0xFF};
} // namespace

struct CLowscanSpiModel::Request_T {
    std::uint8_t code;
    std::size_t size; ///< 0: any size that a ping read has
    void (CLowscanSpiModel::*act)(ByteView_T request, DeviceOutcome_T& outcome);
};

const CLowscanSpiModel::Request_T* CLowscanSpiModel::FindRequest(ByteView_T bytes)
{
    static constexpr std::array<Request_T, 6> requests{{
        {0x01, 1, &CLowscanSpiModel::Ping},
        {0x03, c_VersionRequest.size(), &CLowscanSpiModel::ReadVersion},
        {0x04, 1 + c_Records * c_RecordWidth, &CLowscanSpiModel::WriteRegisters},
        {0x05, 10, &CLowscanSpiModel::ReadAdc},
        {c_ReadFirstPacket, 0, &CLowscanSpiModel::ReadPacket},
        {c_ReadFirstPacket + 1, 0, &CLowscanSpiModel::ReadPacket},
    }};
    const auto fits = [&](const Request_T& row) {
        return !bytes.empty() && row.code == bytes.front() &&
               (row.size == 0 ? CLowscanFpgaModel::IsPacketSize(bytes.size() - 1) : row.size == bytes.size());
    };
    const auto found = std::ranges::find_if(requests, fits);
    return found == requests.end() ? nullptr : found;
}

void CLowscanSpiModel::Transfer(ByteView_T bytes, DeviceOutcome_T& outcome)
{
    outcome.meaning = m_pFpga->Silence();
    if (!IsPowered()) {
        return;
    }
    if (const Request_T* const pRequest = FindRequest(bytes)) {
        (this->*pRequest->act)(bytes, outcome);
    } else {
        outcome.refusals.push_back(bytes.empty() ? "empty write"
                                                 : "unknown request " + HexText(bytes.front(), 2) + " of " +
                                                       ByteCount(bytes.size()));
    }
    if (!m_pFpga->Silence().empty()) {
        std::ranges::fill(outcome.reply, std::uint8_t{0});
    }
}

void CLowscanSpiModel::Ping(ByteView_T, DeviceOutcome_T& outcome)
{
    m_pFpga->Ping(outcome);
    SetInterrupt(m_pFpga->Silence().empty());
}

void CLowscanSpiModel::ReadVersion(ByteView_T request, DeviceOutcome_T& outcome)
{
    if (!std::ranges::equal(request, c_VersionRequest)) {
        outcome.refusals.emplace_back("version request without its pattern 03 00 00 ff ff");
        return;
    }
    m_pFpga->ReportVersion(c_VersionReplySize, outcome);
}

void CLowscanSpiModel::WriteRegisters(ByteView_T request, DeviceOutcome_T& outcome)
{
    for (ByteView_T records = request.subspan(1); !records.empty();
         records = records.subspan(c_RecordWidth)) {
        m_pFpga->SetRegister(static_cast<std::uint16_t>(GetBigEndian(records, 0, c_AddressWidth)),
                             GetBigEndian(records, c_AddressWidth, c_RecordWidth - c_AddressWidth), outcome);
    }
}

void CLowscanSpiModel::ReadAdc(ByteView_T, DeviceOutcome_T& outcome)
{
    AppendMeaning(outcome.meaning, "read ADC");
    outcome.reply = m_pFpga->AdcReadings();
    outcome.replyMeaning = "reference, water temperature, sense resistor";
}

void CLowscanSpiModel::ReadPacket(ByteView_T request, DeviceOutcome_T& outcome)
{
    const std::size_t channel = request.front() - c_ReadFirstPacket;
    AppendMeaning(outcome.meaning, "read ping of channel " + std::to_string(channel));
    outcome.reply = m_pFpga->TakePacket(channel);
    outcome.replyMeaning = std::to_string(outcome.reply.size()) + " bytes of ping";
    outcome.reply.resize(request.size() - 1);
}
