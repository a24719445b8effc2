#pragma once

#include "Utilities/OSSLinuxFactory.h"
#include "Utilities/OSSLinuxFile.h"
#include "tests/support/CorWire.h"

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;

/// Text of one operation or event.
template <class... Values>
std::string Line(const char* format, Values... values)
{
    char text[200];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

/// A device node with answers that a test sets, and with the traffic for the test to read afterwards.
struct ScriptedDevice {
    int openError = 0;
    std::set<std::size_t> failingWrites; ///< numbers, from 1, of the writes that fail with errno 5
    std::deque<WireBytes> replies;       ///< one a read, empty: errno 5; when none is left, polls time out
    bool hungUp = false;                 ///< when no reply is left, reads give nothing and polls are ready
    bool pollFails = false;              ///< polls return -1, even when a reply is there
    unsigned long refusedRequest = 0;    ///< device request that fails
    WireBytes samples;                   ///< what a write in ping-read mode is filled with

    std::vector<WireBytes> writes; ///< bytes of every write
    Lines operations;              ///< all operations in order: "write 9", "ioctl 80047202", ...
};

/// The file object of a scripted device. Operations that no transport uses fail as on a file that did not
/// open.
struct ScriptedFile : COSSLinuxFile {
    explicit ScriptedFile(ScriptedDevice& device) : COSSLinuxFile("", 0, 0), m_Device(device) {}

    bool Write(const Buffer_Bytes_T* Buffer) override
    {
        m_Device.operations.push_back(Line("write %zu", Buffer->size()));
        m_Device.writes.emplace_back(Buffer->data(), Buffer->data() + Buffer->size());
        const bool fails = m_Device.failingWrites.contains(m_Device.writes.size());
        return fails || !m_ReadsPing ? Result(fails ? 5 : 0) : Fill(Buffer, m_Device.samples);
    }
    bool Read(Buffer_Bytes_T* Buffer) override
    {
        m_Device.operations.push_back(Line("read %zu", Buffer->size()));
        if (m_Device.replies.empty()) {
            return Fill(Buffer, {});
        }
        const WireBytes reply = m_Device.replies.front();
        m_Device.replies.pop_front();
        return reply.empty() ? Result(5) : Fill(Buffer, reply);
    }
    bool Ioctl(unsigned long request, int* pWords) override
    {
        m_Device.operations.push_back(Line("ioctl %lx", request));
        m_ReadsPing = pWords != nullptr;
        for (int word = 0; m_ReadsPing && word < 5; ++word) {
            m_Device.operations.back() += Line(" %x", static_cast<unsigned>(pWords[word]));
        }
        return Result(request == m_Device.refusedRequest ? -1 : 0);
    }
    int Poll(short events, int timeout) override
    {
        m_Device.operations.push_back(Line("poll %d %d", events, timeout));
        if (m_Device.pollFails) {
            return -1;
        }
        return m_Device.replies.empty() && !m_Device.hungUp ? 0 : 1;
    }
    int GetErrorCode() const override { return m_Error; }

private:
    bool Fill(const Buffer_Bytes_T* Buffer, const WireBytes& bytes)
    {
        Buffer->size(std::min(Buffer->size(), bytes.size()));
        std::copy_n(bytes.begin(), Buffer->size(), Buffer->data());
        return Result(0);
    }
    bool Result(int error) { return (m_Error = error) == 0; }

    ScriptedDevice& m_Device;
    int m_Error = m_Device.openError;
    bool m_ReadsPing = false;
};

/// A factory with scripted environment and devices, which records events.
struct ScriptedFactory : COSSLinuxFactory {
    std::map<std::string, std::string> environment;
    std::map<std::string, ScriptedDevice> devices; ///< by path; opening a new path adds one
    Lines events;                                  ///< "level code origin: text"

    IOSSFile* CreateFile(const char* Name, int flags, int mode) override
    {
        devices[Name].operations.push_back(Line("open %d %d", flags, mode));
        return std::make_unique<ScriptedFile>(devices[Name]).release(); // the caller's, by contract
    }
    const char* GetEnv(const char* Name) override
    {
        return environment.contains(Name) ? environment[Name].c_str() : nullptr;
    }
    TSQEventCode_T SendEvent(int level, int code, const char* origin, const char* text) override
    {
        events.push_back(Line("%d %d %s: %s", level, code, origin, text));
        return 0;
    }
};
