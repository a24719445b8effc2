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
    Whole,       ///< all requested bytes, from the input
    Filled,      ///< all requested bytes, each equal to the next byte of the input
    Summed,      ///< like Filled, but the last byte is the sum of the others
    Piece,       ///< bytes from the input, as many as its next byte says
    Nothing,     ///< no byte, no event
    Fails,       ///< EIO
    Interrupted, ///< EINTR
    Count
};

/// A device whose answers are the fuzzer's bytes. No time passes in it.
class CFuzzDevice
{
public:
    /// Answers from the input, which must live as long as it is used; null: there is no input left.
    /// @param unchosen  the answer when the input has run out
    /// @param isChosen  false: the input contains no choices of answers, only bytes
    void Use(CFuzzInput* pInput, Answer_T unchosen = Answer_T::Nothing, bool isChosen = true)
    {
        m_pInput = pInput;
        m_Unchosen = unchosen;
        m_IsChosen = isChosen;
        m_ReadsPing = false;
    }

    /// Returns 1, 0 after a time-out, or -1.
    int Poll()
    {
        const Answer_T answer = Next();
        return Fails(answer) ? -1 : answer == Answer_T::Nothing ? 0 : 1;
    }
    /// Returns the bytes read, or -1.
    ssize_t Read(std::uint8_t* pTo, std::size_t size) { return Fill(Next(), pTo, size); }
    /// Returns the bytes written, or -1. Between the two requests of a ping read, the samples replace the
    /// bytes.
    ssize_t Write(std::uint8_t* pBytes, std::size_t size)
    {
        m_Written += std::accumulate(pBytes, pBytes + size, 0U); // reads every byte, as the driver does
        const Answer_T answer = Next();
        if (m_ReadsPing) {
            return Fill(answer, pBytes, size);
        }
        return Fails(answer) ? -1 : answer == Answer_T::Nothing ? 0 : static_cast<ssize_t>(size);
    }
    /// Returns 0 or -1.
    int Ioctl(unsigned long request)
    {
        constexpr unsigned long startPingRead = 0x80047205;
        m_ReadsPing = request == startPingRead;
        return Request();
    }
    /// The outcome of any other request: 0 or -1.
    int Request() { return Fails(Next()) ? -1 : 0; }

private:
    bool IsOut() const { return m_pInput == nullptr || m_pInput->IsEmpty(); }

    Answer_T Next()
    {
        return IsOut() || !m_IsChosen
                   ? m_Unchosen
                   : static_cast<Answer_T>(m_pInput->Byte() % static_cast<unsigned int>(Answer_T::Count));
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
    Answer_T m_Unchosen = Answer_T::Nothing;
    bool m_IsChosen = true;
    bool m_ReadsPing = false;
    unsigned int m_Written = 0;
};

/// The file object for such a device. Operations that no transport needs fail as on a file that is not open.
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

/// An operating system in which all devices are the same one.
struct FuzzFactory_T : COSSLinuxFactory {
    CFuzzDevice device;

    IOSSFile* CreateFile(const char*, int, int) override
    {
        return std::make_unique<CFuzzFile>(device).release(); // the caller's, by contract
    }
};
