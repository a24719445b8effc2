#include "simulator/models/SpiDeviceModel.h"

#include "simulator/ValueText.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace
{
constexpr std::int64_t c_LinkHz = 24'000'000;
}

/// A request of the driver.
struct CSpiDeviceModel::Request_T {
    std::uint32_t number;
    std::size_t argumentSize;
    const char* name;
    void (CSpiDeviceModel::*act)(ByteView_T argument, DeviceOutcome_T& outcome);
};

const CSpiDeviceModel::Request_T* CSpiDeviceModel::FindRequest(unsigned long request)
{
    static constexpr std::array<Request_T, 4> requests{{
        {0x80047202, 0, "configure SPI", &CSpiDeviceModel::Configure},
        {0x80047203, 0, "wait for interrupt", &CSpiDeviceModel::WaitForInterrupt},
        {0x80047205, c_DescriptorSize, "start ping read", &CSpiDeviceModel::StartPingRead},
        {0x80047206, 0, "end ping read", &CSpiDeviceModel::EndPingRead},
    }};
    // The kernel uses 32 bits of the number, even if the caller's type is wider.
    const auto found = std::ranges::find(requests, static_cast<std::uint32_t>(request), &Request_T::number);
    return found == requests.end() ? nullptr : found;
}

std::chrono::nanoseconds CSpiDeviceModel::LinkTime(std::size_t bytes)
{
    // A byte takes a third of a microsecond.
    return std::chrono::nanoseconds(static_cast<std::int64_t>(bytes) * 8 * 1'000'000 / (c_LinkHz / 1000));
}

DeviceOutcome_T CSpiDeviceModel::Write(ByteView_T bytes)
{
    DeviceOutcome_T outcome;
    outcome.linkTime = LinkTime(bytes.size());
    m_TimeOnLink += outcome.linkTime;
    if (m_IsConfigured) {
        Transfer(bytes, outcome);
    } else {
        outcome.refusals.emplace_back("write before the device was configured");
    }
    return outcome;
}

std::size_t CSpiDeviceModel::IoctlArgumentSize(unsigned long request) const
{
    const Request_T* const pFound = FindRequest(request);
    return pFound != nullptr ? pFound->argumentSize : 0;
}

DeviceOutcome_T CSpiDeviceModel::Ioctl(unsigned long request, ByteView_T argument)
{
    DeviceOutcome_T outcome;
    const Request_T* const pFound = FindRequest(request);
    if (pFound == nullptr) {
        Refuse(outcome, ENOTTY, "unknown request " + HexText(request, 8));
        return outcome;
    }
    outcome.meaning = pFound->name;
    if (!m_IsConfigured && pFound->act != &CSpiDeviceModel::Configure) {
        Refuse(outcome, EINVAL, outcome.meaning + " before the device was configured");
    } else {
        (this->*pFound->act)(argument, outcome);
    }
    return outcome;
}

void CSpiDeviceModel::Configure(ByteView_T, DeviceOutcome_T&) { m_IsConfigured = true; }

void CSpiDeviceModel::WaitForInterrupt(ByteView_T, DeviceOutcome_T& outcome)
{
    outcome.interruptWait = true;
    if (!IsPowered()) {
        AppendMeaning(outcome.meaning, "no power");
    }
    if (!IsPowered() || !std::exchange(m_IsInterruptPending, false)) {
        outcome.error = ETIMEDOUT;
    }
}

void CSpiDeviceModel::StartPingRead(ByteView_T, DeviceOutcome_T& outcome)
{
    Refuse(outcome, EINVAL, "start ping read on a device without a FIFO");
}

void CSpiDeviceModel::EndPingRead(ByteView_T, DeviceOutcome_T& outcome)
{
    Refuse(outcome, EINVAL, "end ping read on a device without a FIFO");
}

void CSpiDeviceModel::Refuse(DeviceOutcome_T& outcome, int error, std::string why)
{
    outcome.error = error;
    outcome.refusals.push_back(std::move(why));
}
