#pragma once

#include "Utilities/OSSLinuxFactory.h"
#include "Utilities/OSSLinuxFile.h"
#include "fuzz/FuzzInput.h"

#include <cerrno>
#include <memory>
#include <numeric>
#include <sys/types.h>

/// How a device answers one operation; a byte of the input names it.
enum class Answer_T : std::uint8_t {
    Whole,       ///< all that was asked for, out of the input
    Filled,      ///< all that was asked for, each byte like the input's next one
    Summed,      ///< as Filled, but for the last byte, which is the sum of the others
    Piece,       ///< as many bytes as the input's next one says, out of the input
    Nothing,     ///< no byte, no event
    Fails,       ///< EIO
    Interrupted, ///< EINTR
    Count
};

/// A device whose answers are the fuzzer's bytes. No time passes in it.
class CFuzzDevice
{
public:
    /// What a device does once the input has run out.
    enum class Afterwards_T { Silent, Answers };

    /// Answers from the input, which must live as long as it is used; null: there is no input left.
    void Use(CFuzzInput* pInput, Afterwards_T afterwards = Afterwards_T::Silent)
    {
        m_pInput = pInput;
        m_Afterwards = afterwards;
        m_ReadsPing = false;
    }

    /// Returns 1, 0 after a time-out, or -1.
    int Poll()
    {
        const Answer_T answer = Next();
        if (Fails(answer)) {
            return -1;
        }
        return answer == Answer_T::Nothing ? 0 : 1;
    }
    /// Returns the bytes read, or -1.
    ssize_t Read(std::uint8_t* pTo, std::size_t size) { return Fill(Next(), pTo, size); }
    /// Returns the bytes written, or -1. Between the requests for it, a ping is read in place of the bytes.
    ssize_t Write(std::uint8_t* pBytes, std::size_t size)
    {
        m_Written += std::accumulate(pBytes, pBytes + size, 0U); // as the driver looks at every byte
        const Answer_T answer = Next();
        if (m_ReadsPing) {
            return Fill(answer, pBytes, size);
        }
        if (Fails(answer)) {
            return -1;
        }
        return static_cast<ssize_t>(answer == Answer_T::Nothing ? 0 : size);
    }
    /// Returns 0 or -1.
    int Ioctl(unsigned long request)
    {
        constexpr unsigned long startPingRead = 0x80047205;
        m_ReadsPing = request == startPingRead;
        return Succeeds() ? 0 : -1;
    }
    /// The outcome of any other request.
    bool Succeeds() { return !Fails(Next()); }

private:
    bool IsOut() const { return m_pInput == nullptr || m_pInput->IsEmpty(); }

    Answer_T Next()
    {
        if (IsOut()) {
            return m_Afterwards == Afterwards_T::Answers ? Answer_T::Summed : Answer_T::Nothing;
        }
        return static_cast<Answer_T>(m_pInput->Byte() % static_cast<unsigned int>(Answer_T::Count));
    }
    static bool Fails(Answer_T answer)
    {
        if (answer != Answer_T::Fails && answer != Answer_T::Interrupted) {
            return false;
        }
        errno = answer == Answer_T::Fails ? EIO : EINTR;
        return true;
    }
    ssize_t Fill(Answer_T answer, std::uint8_t* pTo, std::size_t size)
    {
        if (Fails(answer)) {
            return -1;
        }
        if (answer == Answer_T::Filled || answer == Answer_T::Summed) {
            constexpr std::uint8_t afterwards = 0x11;
            std::fill_n(pTo, size, IsOut() ? afterwards : m_pInput->Byte());
            if (answer == Answer_T::Summed && size != 0) {
                pTo[size - 1] = static_cast<std::uint8_t>(std::accumulate(pTo, pTo + size - 1, 0U));
            }
            return static_cast<ssize_t>(size);
        }
        if (answer == Answer_T::Nothing || IsOut()) {
            return 0;
        }
        const auto bytes =
            m_pInput->Take(answer == Answer_T::Piece ? std::min<std::size_t>(m_pInput->Byte(), size) : size);
        std::copy(bytes.begin(), bytes.end(), pTo);
        return static_cast<ssize_t>(bytes.size());
    }

    CFuzzInput* m_pInput = nullptr;
    Afterwards_T m_Afterwards = Afterwards_T::Silent;
    bool m_ReadsPing = false;
    unsigned int m_Written = 0;
};

/// The file object on such a device. To what no transport needs it is a file that did not open.
class CFuzzFile : public COSSLinuxFile
{
public:
    explicit CFuzzFile(CFuzzDevice& device) : COSSLinuxFile("", 0, 0), m_Device(device) {}

    bool Read(Buffer_Bytes_T* Buffer) override
    {
        return Moved(m_Device.Read(Buffer->data(), Buffer->size()), *Buffer);
    }
    bool Write(const Buffer_Bytes_T* Buffer) override
    {
        return Moved(m_Device.Write(Buffer->data(), Buffer->size()), *Buffer);
    }
    bool Ioctl(unsigned long request, int*) override { return Result(m_Device.Ioctl(request)); }
    int Poll(short, int) override { return m_Device.Poll(); }
    int GetErrorCode() const override { return m_Error; }

private:
    bool Result(int error) { return (m_Error = error) == 0; }
    bool Moved(ssize_t count, const Buffer_Bytes_T& buffer)
    {
        if (count < 0) {
            return Result(errno);
        }
        buffer.size(static_cast<std::size_t>(count));
        return Result(0);
    }

    CFuzzDevice& m_Device;
    int m_Error = 0;
};

/// An operating system all of whose devices are one.
class CFuzzFactory : public COSSLinuxFactory
{
public:
    explicit CFuzzFactory(CFuzzDevice& device) : m_Device(device) {}

    IOSSFile* CreateFile(const char*, int, int) override
    {
        return std::make_unique<CFuzzFile>(m_Device).release(); // the caller's, by contract
    }

private:
    CFuzzDevice& m_Device;
};

/// A transport on a device of the fuzzer's. It serves every input: what one leaves queued is dropped.
template <class Transport>
class CFuzzTransport
{
public:
    template <class... Arguments>
    explicit CFuzzTransport(Arguments... arguments) : m_Transport(arguments..., "/dev/fuzz", &m_Factory)
    {
    }

    /// Lets the input name operations of the table, and answer them, until it has run out.
    template <class Table>
    void Run(const std::uint8_t* pData, std::size_t size, Table& operations)
    {
        CFuzzInput input(pData, size);
        m_Device.Use(&input);
        while (!input.IsEmpty()) {
            input.OneOf(operations)(m_Transport, input);
        }
        m_Device.Use(nullptr);
    }

    Transport& Get() { return m_Transport; }

private:
    CFuzzDevice m_Device;
    CFuzzFactory m_Factory{m_Device};
    Transport m_Transport;
};
