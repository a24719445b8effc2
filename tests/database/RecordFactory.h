#pragma once

#include "tests/support/ScriptedDevice.h"
#include "tests/support/TemporaryDirectory.h"

#include <functional>
#include <memory>

/// A file that tells after each piece that was written, and before the old tail is cut off.
struct WatchedFile : COSSLinuxFile {
    WatchedFile(const std::function<void()>& tell, const char* Name, int flags, int mode)
        : COSSLinuxFile(Name, flags, mode), m_Tell(tell)
    {
    }
    bool WriteStream(const char* Data) override
    {
        const bool written = COSSLinuxFile::WriteStream(Data);
        m_Tell();
        return written;
    }

private:
    const std::function<void()>& m_Tell;
};

/// An operating system with real files, a database directory, and recorded events.
struct RecordFactory : ScriptedFactory {
    std::function<void()> afterPiece = [] {};

    explicit RecordFactory(const std::string& root) { environment["NONPERSISTED_DATABASE_ROOT"] = root; }
    IOSSFile* CreateFile(const char* Name, int flags, int mode) override
    {
        return std::make_unique<WatchedFile>(afterPiece, Name, flags, mode).release(); // the caller's
    }
};
