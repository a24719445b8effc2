#include "Utilities/FPGALink.h"

#include "Utilities/IOSSFactory.h"

#include <fcntl.h>
#include <numeric>
#include <tuple>

namespace
{
// Requests of the SPI driver.
constexpr unsigned long c_ConfigureSpi = 0x80047202;
constexpr unsigned long c_WaitForInterrupt = 0x80047203;
} // namespace

CFPGALink::CFPGALink(const char* ClassName, const char* Medium, const std::string& SerialDevicePath,
                     IOSSFactory* pFactory)
    : m_pFactory(pFactory), m_DevicePath(SerialDevicePath), m_ClassName(ClassName), m_Medium(Medium)
{
}

void CFPGALink::OpenDevice() { m_SerialPort = m_pFactory->CreateFile(m_DevicePath.c_str(), O_RDWR, 0); }

void CFPGALink::ConfigureSpi()
{
    m_ErrorCode = m_SerialPort->GetErrorCode();
    if (m_ErrorCode == c_Success) {
        // Part of the contract: whether the request succeeds does not count.
        std::ignore = m_SerialPort->Ioctl(c_ConfigureSpi, nullptr);
    }
}

TSQEventCode_T CFPGALink::WaitForInterrupt()
{
    return m_SerialPort->Ioctl(c_WaitForInterrupt, nullptr) ? 1 : 0;
}

TSQEventCode_T CFPGALink::SendData(Buffer_Bytes_T* Buffer)
{
    m_ErrorCode = c_Success;
    if (!m_SerialPort->Write(Buffer)) {
        m_ErrorCode = m_SerialPort->GetErrorCode();
        ReportError(m_ErrorCode, "SendData",
                    std::string("failed to send data to ") + m_Medium + " " + m_DevicePath);
    }
    return m_ErrorCode;
}

void CFPGALink::ReportError(TSQEventCode_T code, const char* method, const std::string& text)
{
    const std::string origin = std::string(m_ClassName) + "::" + method;
    m_pFactory->SendEvent(c_EventError, code, origin.c_str(), text.c_str());
}

std::uint8_t CFPGALink::Checksum(std::span<const std::uint8_t> bytes)
{
    return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0U));
}
