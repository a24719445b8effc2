#include "Utilities/FPGAIFLSUart.h"

#include "Utilities/IOSSFile.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <termios.h>
#include <unistd.h>

namespace
{
constexpr std::uint16_t c_Command = 1;
constexpr unsigned int c_CommandPingNow = 1;
constexpr unsigned int c_CommandReportVersion = 3;

// Frame: its start, a register's record, a checksum.
constexpr std::uint8_t c_FrameStart = 0xF5;
constexpr std::size_t c_FrameSize = 1 + sizeof(SetRegisterData_T) + 1;

constexpr std::size_t c_VersionReplySize = 1024;

constexpr tcflag_t c_ControlFlagsOff = CSIZE | CSTOPB | PARENB;
/// Output flow control, and everything that alters received bytes.
constexpr tcflag_t c_InputFlagsOff = IXON | ICRNL | INLCR | IGNCR | ISTRIP | INPCK | PARMRK | BRKINT | IUCLC;
constexpr tcflag_t c_LocalFlagsOff = ICANON | ECHO | ECHOE | ISIG;
} // namespace

CFPGAIFLSUart::CFPGAIFLSUart(const std::string& SerialDevicePath, IOSSFactory* pFactory)
    : CLowscan("CFPGAIFLSUart", SerialDevicePath, pFactory)
{
    assert(pFactory && "No Factory Passed to LowscanIF");
    assert(SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFLSUart");
    OpenDevice();
    assert(m_SerialPort);
    m_ErrorCode = m_SerialPort->GetErrorCode();
    if (m_ErrorCode != c_Success) {
        return;
    }
    m_ErrorCode = ConfigureSerialPort(m_SerialPort->GetFileDescriptor());
    if (m_ErrorCode != c_Success) {
        ReportError(m_ErrorCode, "CFPGAIFLSUart", "Constructor failed to configure UART " + m_DevicePath);
    }
}

const char* CFPGAIFLSUart::DefaultDevice(LSChannel_T channel)
{
    return channel == c_Channel0 ? "/dev/ttyO1" : "/dev/ttyO3";
}

TSQEventCode_T CFPGAIFLSUart::SerialPortFailure(const std::string& text)
{
    const TSQEventCode_T reason = errno;
    ReportError(reason, "ConfigureSerialPort", text);
    return reason;
}

TSQEventCode_T CFPGAIFLSUart::ConfigureSerialPort(int descriptor)
{
    if (isatty(descriptor) == 0) {
        return SerialPortFailure(m_DevicePath + " is not a serial port");
    }
    struct termios attributes = {};
    tcgetattr(descriptor, &attributes);
    if (cfsetispeed(&attributes, B3000000) != 0) {
        return SerialPortFailure("Set ip speed failed on UART " + m_DevicePath);
    }
    if (cfsetospeed(&attributes, B3000000) != 0) {
        return SerialPortFailure("Set op speed failed on UART " + m_DevicePath);
    }
    if (tcsetattr(descriptor, TCSANOW, &attributes) != 0) {
        return SerialPortFailure("Set Attributes failed on UART " + m_DevicePath);
    }
    tcflush(descriptor, TCOFLUSH);
    if (tcgetattr(descriptor, &attributes) != 0) {
        return SerialPortFailure("Get Attributes failed on UART " + m_DevicePath);
    }
    attributes.c_cflag = (attributes.c_cflag & ~c_ControlFlagsOff) | CS8;
    attributes.c_iflag = (attributes.c_iflag & ~c_InputFlagsOff) | IXOFF;
    attributes.c_lflag &= ~c_LocalFlagsOff;
    attributes.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    attributes.c_cc[VMIN] = 1; // a read waits for one byte, however long
    attributes.c_cc[VTIME] = 0;
    tcflush(descriptor, TCOFLUSH);
    if (tcsetattr(descriptor, TCSANOW, &attributes) != 0) {
        return SerialPortFailure("Final Set Attributes failed on UART " + m_DevicePath);
    }
    return c_Success;
}

TSQEventCode_T CFPGAIFLSUart::SetRegister(unsigned short address, unsigned int value)
{
    std::array<std::uint8_t, c_FrameSize> frame{c_FrameStart};
    const SetRegisterData_T record = RegisterRecord(address, value);
    std::copy(record.begin(), record.end(), frame.begin() + 1);
    frame.back() = Checksum(frame); // its own byte is still 0
    Buffer_Bytes_T buffer(frame.data(), frame.size());
    return SendData(&buffer);
}

TSQEventCode_T CFPGAIFLSUart::SetRegisters(std::span<const LSRegisterValue_T> registers)
{
    for (const LSRegisterValue_T& next : registers) {
        if (SetRegister(next.address, next.value) != c_Success) {
            break;
        }
    }
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSUart::Flush()
{
    m_ErrorCode = c_Success;
    if (tcflush(m_SerialPort->GetFileDescriptor(), TCIFLUSH) != 0) {
        m_ErrorCode = c_FlushFailed;
        ReportError(m_ErrorCode, "Flush", "Flush failed on UART " + m_DevicePath);
    }
    return m_ErrorCode;
}

TSQEventCode_T CFPGAIFLSUart::PingNow() { return SetRegister(c_Command, c_CommandPingNow); }

TSQEventCode_T CFPGAIFLSUart::GetVersion(SWVersion_T* Version)
{
    SetRegister(c_Command, c_CommandReportVersion);
    return ReceiveVersion(c_VersionReplySize, Version);
}

TSQEventCode_T CFPGAIFLSUart::SetPulse(LSChannel_T Channel, LSPeriod_T Period,
                                       LSFrequency_Hz_T StartFrequency, LSFrequency_Hz_T EndFrequency)
{
    return SetRegisters(PulseRegisters(Channel, Period, StartFrequency, EndFrequency));
}

TSQEventCode_T CFPGAIFLSUart::SetSampling(LSChannel_T Channel, LSFpgaSamples_T First, LSFpgaSamples_T Second,
                                          LSDecimationRate_T Decimation)
{
    return SetRegisters(SamplingRegisters(Channel, First, Second, Decimation));
}

TSQEventCode_T CFPGAIFLSUart::SetGainAndColourGain(LSChannel_T Channel, LSGain_T Gain,
                                                   LSColourGain_T ColourGain)
{
    return SetRegisters(GainRegisters(Channel, Gain, ColourGain));
}

TSQEventCode_T CFPGAIFLSUart::SetAnalogueGainLevel(unsigned char level)
{
    return SetRegisters(std::array{AnalogueGainRegister(level)});
}

TSQEventCode_T CFPGAIFLSUart::SetBoostLevel(unsigned char level, bool enable)
{
    return SetRegisters(std::array{BoostRegister(level, enable)});
}
