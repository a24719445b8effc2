#pragma once

#include "Utilities/ByteBuffer.h"
#include "Utilities/EventCodes.h"

#include <cstdint>
#include <span>
#include <string>

class IOSSFactory;
class IOSSFile;

/// The device node of an FPGA, and what every transport does with it. A failed device operation leaves its
/// error code and is reported as an event.
class CFPGALink
{
public:
    CFPGALink(const CFPGALink&) = delete;
    CFPGALink& operator=(const CFPGALink&) = delete;
    virtual ~CFPGALink() = default;

    /// Result of the last device operation: 0, an errno number, or one of the program's own codes.
    TSQEventCode_T GetErrorCode() const { return m_ErrorCode; }

    /// Writes the buffer to the device in one write. Returns 0 or the file's error code.
    TSQEventCode_T SendData(Buffer_Bytes_T* Buffer);

protected:
    /// @param ClassName  origin of the transport's events; must live as long as the object
    /// @param Medium     name of the link in messages; must live as long as the object
    /// @param pFactory   not owned
    CFPGALink(const char* ClassName, const char* Medium, const std::string& SerialDevicePath,
              IOSSFactory* pFactory);

    /// Opens the device for reading and writing. m_SerialPort is then what the factory made.
    void OpenDevice();
    /// Takes the opened device's error code. If that is 0, configures the SPI driver.
    void ConfigureSpi();
    /// Waits until the FPGA interrupts the SPI driver. Returns 1, or 0 when it did not.
    TSQEventCode_T WaitForInterrupt();

    /// Reports an error event of one of the transport's methods.
    void ReportError(TSQEventCode_T code, const char* method, const std::string& text);
    /// Sum of the bytes, modulo 256.
    static std::uint8_t Checksum(std::span<const std::uint8_t> bytes);

    TSQEventCode_T m_ErrorCode = c_Success;
    IOSSFile* m_SerialPort = nullptr; ///< the opened device; derived classes release it
    IOSSFactory* m_pFactory;
    std::string m_DevicePath;

private:
    const char* m_ClassName;
    const char* m_Medium;
};
