#pragma once

#include "tests/support/ScriptedDevice.h"
#include "tests/support/TemporaryDirectory.h"

#include <functional>
#include <memory>

/// A file that calls a function after each written piece; the write fails if that returns false.
struct WatchedFile : COSSLinuxFile {
    WatchedFile(const std::function<bool()>& ask, const char* Name, int flags, int mode)
        : COSSLinuxFile(Name, flags, mode), m_Ask(ask)
    {
    }
    bool WriteStream(const char* Data) override { return COSSLinuxFile::WriteStream(Data) && m_Ask(); }

private:
    const std::function<bool()>& m_Ask;
};

/// A factory with real files and a database directory, which records events.
struct RecordFactory : ScriptedFactory {
    std::function<bool()> afterPiece = [] { return true; };

    explicit RecordFactory(const std::string& root) { environment["NONPERSISTED_DATABASE_ROOT"] = root; }
    IOSSFile* CreateFile(const char* Name, int flags, int mode) override
    {
        return std::make_unique<WatchedFile>(afterPiece, Name, flags, mode).release(); // the caller's
    }
};
