#include "simulator/models/LowscanUartModel.h"

#include "simulator/ValueText.h"
#include "simulator/models/WireBytes.h"

#include <array>
#include <cerrno>

namespace
{
constexpr std::int64_t c_LinkBaud = 3'000'000;
constexpr std::int64_t c_BitsPerByte = 10; // with start and stop bit

constexpr std::size_t c_FrameSize = 8;
constexpr std::uint8_t c_FrameStart = 0xF5;
constexpr std::size_t c_AddressAt = 1;
constexpr std::size_t c_ValueAt = 3;
constexpr std::size_t c_ChecksumAt = 7;

constexpr std::uint16_t c_CommandRegister = 1;
constexpr std::uint32_t c_CommandPing = 1;
constexpr std::uint32_t c_CommandVersion = 3;
constexpr std::size_t c_VersionReplySize = 1024;

/// A setting of the line and the value that it must have.
struct LineSetting_T {
    const char* name;
    tcflag_t termios::*field;
    tcflag_t mask;
    tcflag_t value;
};

constexpr std::array<LineSetting_T, 19> c_Settings{{
    {"CSIZE", &termios::c_cflag, CSIZE, CS8},   {"CSTOPB", &termios::c_cflag, CSTOPB, 0},
    {"PARENB", &termios::c_cflag, PARENB, 0},   {"IXON", &termios::c_iflag, IXON, 0},
    {"IXOFF", &termios::c_iflag, IXOFF, IXOFF}, {"ICRNL", &termios::c_iflag, ICRNL, 0},
    {"INLCR", &termios::c_iflag, INLCR, 0},     {"IGNCR", &termios::c_iflag, IGNCR, 0},
    {"ISTRIP", &termios::c_iflag, ISTRIP, 0},   {"INPCK", &termios::c_iflag, INPCK, 0},
    {"PARMRK", &termios::c_iflag, PARMRK, 0},   {"BRKINT", &termios::c_iflag, BRKINT, 0},
    {"IUCLC", &termios::c_iflag, IUCLC, 0},     {"OPOST", &termios::c_oflag, OPOST, 0},
    {"ICANON", &termios::c_lflag, ICANON, 0},   {"ECHO", &termios::c_lflag, ECHO, 0},
    {"ECHOE", &termios::c_lflag, ECHOE, 0},     {"ISIG", &termios::c_lflag, ISIG, 0},
    {"EXTPROC", &termios::c_lflag, EXTPROC, 0},
}};

std::chrono::nanoseconds LinkTime(std::size_t bytes)
{
    return std::chrono::nanoseconds(static_cast<std::int64_t>(bytes) * c_BitsPerByte * 1'000'000 /
                                    (c_LinkBaud / 1000));
}

/// Why a write is not a frame; empty when it is one.
std::string FrameRefusal(ByteView_T bytes)
{
    if (bytes.size() != c_FrameSize) {
        return ByteCount(bytes.size()) + " in one write, a frame has " + std::to_string(c_FrameSize);
    }
    if (bytes.front() != c_FrameStart) {
        return "frame start " + HexText(bytes.front(), 2) + ", expected " + HexText(c_FrameStart, 2);
    }
    const std::uint8_t expected = SumOfBytes(bytes.first(c_ChecksumAt));
    if (bytes[c_ChecksumAt] != expected) {
        return "checksum " + HexText(bytes[c_ChecksumAt], 2) + ", expected " + HexText(expected, 2);
    }
    return {};
}
} // namespace

CLowscanUartModel::CLowscanUartModel(std::shared_ptr<CLowscanFpgaModel> pFpga, std::size_t channel)
    : m_pFpga(std::move(pFpga)), m_Channel(channel)
{
    SetLine({});
}

void CLowscanUartModel::SetLine(const termios& settings)
{
    m_WrongSettings.clear();
    if (::cfgetispeed(&settings) != B3000000 || ::cfgetospeed(&settings) != B3000000) {
        m_WrongSettings += " speed";
    }
    for (const LineSetting_T& setting : c_Settings) {
        if ((settings.*setting.field & setting.mask) != setting.value) {
            m_WrongSettings.append(" ").append(setting.name);
        }
    }
}

DeviceOutcome_T CLowscanUartModel::Write(ByteView_T bytes)
{
    DeviceOutcome_T outcome;
    if (!m_WrongSettings.empty()) {
        outcome.refusals.push_back("write to a line with wrong settings:" + m_WrongSettings);
    } else if (const std::string why = FrameRefusal(bytes); !why.empty()) {
        outcome.refusals.push_back(why);
    } else {
        Perform(bytes, outcome);
    }
    outcome.linkTime = LinkTime(bytes.size() + outcome.reply.size());
    return outcome;
}

void CLowscanUartModel::Perform(ByteView_T frame, DeviceOutcome_T& outcome)
{
    outcome.meaning = m_pFpga->Silence();
    const auto address =
        static_cast<std::uint16_t>(GetBigEndian(frame, c_AddressAt, c_ValueAt - c_AddressAt));
    const std::uint32_t value = GetBigEndian(frame, c_ValueAt, c_ChecksumAt - c_ValueAt);
    if (address == c_CommandRegister) {
        Command(value, outcome);
    } else {
        m_pFpga->SetRegister(address, value, outcome);
    }
}

void CLowscanUartModel::Command(std::uint32_t command, DeviceOutcome_T& outcome)
{
    if (command == c_CommandPing) {
        m_pFpga->Ping(outcome);
        SendPacket(outcome);
    } else if (command == c_CommandVersion) {
        m_pFpga->ReportVersion(c_VersionReplySize, outcome);
        if (!m_pFpga->Silence().empty()) {
            outcome.reply.clear();
        }
    } else {
        outcome.refusals.push_back("unknown command " + HexText(command, 8));
    }
}

void CLowscanUartModel::SendPacket(DeviceOutcome_T& outcome)
{
    outcome.reply = m_pFpga->TakePacket(m_Channel);
    if (!outcome.reply.empty()) {
        outcome.replyMeaning = "ping of channel " + std::to_string(m_Channel);
    }
}

DeviceOutcome_T CLowscanUartModel::Ioctl(unsigned long request, ByteView_T)
{
    return {.error = ENOTTY, .refusals = {"request " + HexText(request, 8) + " to a serial line"}};
}

DeviceOutcome_T CLowscanUartModel::TakeImage(ByteView_T)
{
    return {.refusals = {"another process wrote to the serial line"}};
}

std::optional<DeviceOutcome_T> CLowscanUartModel::TakeUnasked()
{
    DeviceOutcome_T outcome;
    SendPacket(outcome);
    if (outcome.reply.empty()) {
        return std::nullopt;
    }
    outcome.linkTime = LinkTime(outcome.reply.size());
    if (!m_WrongSettings.empty()) {
        outcome.reply.clear();
        outcome.refusals.push_back("packet on a line with wrong settings:" + m_WrongSettings);
    }
    return outcome;
}

DeviceOutcome_T CLowscanLoaderModel::Write(ByteView_T)
{
    return {.error = ENOTTY, .refusals = {"a write to a node that only takes firmware"}};
}

DeviceOutcome_T CLowscanLoaderModel::Ioctl(unsigned long, ByteView_T)
{
    return {.error = ENOTTY, .refusals = {"a device request to a node that only takes firmware"}};
}
