#pragma once

#include "Utilities/ByteBuffer.h"
#include "Utilities/EventCodes.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>

class IOSSFactory;
class IOSSFile;

/// The device node that leads to an FPGA, with what every transport does on it, whatever its protocol. Device
/// failures stay in the error code and are reported as events.
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
    /// @param Medium     how messages call the link; must live as long as the object
    /// @param pFactory   not owned
    CFPGALink(const char* ClassName, const char* Medium, const std::string& SerialDevicePath,
              IOSSFactory* pFactory);

    /// Opens the device for reading and writing. Null when the factory makes no file.
    std::unique_ptr<IOSSFile> CreateDevice();
    /// Takes the opened device's error code; without an error, prepares the SPI driver.
    void ConfigureSpi();
    /// Waits until the FPGA interrupts the SPI driver. Returns 1, or 0 when it did not.
    TSQEventCode_T WaitForInterrupt();

    /// Reports an error event of one of the transport's methods.
    void ReportError(TSQEventCode_T code, const char* method, const std::string& text);
    /// Sum of the bytes, modulo 256.
    static std::uint8_t Checksum(std::span<const std::uint8_t> bytes);

    TSQEventCode_T m_ErrorCode = c_Success;
    IOSSFile* m_SerialPort = nullptr; ///< the opened device; the class that opens it sees to its end
    IOSSFactory* m_pFactory;
    std::string m_DevicePath;

private:
    const char* m_ClassName;
    const char* m_Medium;
};
