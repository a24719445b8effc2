#pragma once

#include "simulator/unit/ProgramRun.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

/// What the program can do at a place of its file system.
enum class Access_T { Read, Write, Device, Empty };

/// A file or directory of this machine that the program sees at another place. If it does not exist,
/// the place is empty.
struct Binding_T {
    std::filesystem::path host; ///< not used for an empty directory
    std::filesystem::path inside;
    Access_T access = Access_T::Read;
};

/// The unit's file system: this machine's, read-only and with some places replaced. Later bindings in the
/// list cover earlier ones.
struct Sandbox_T {
    std::filesystem::path directory; ///< for the sandbox's own files, on this machine; the caller removes it
    std::filesystem::path inside;    ///< directory for the supervisor, as the program sees it
    std::vector<Binding_T> bindings;
    std::filesystem::path workingDirectory;
    std::vector<std::pair<std::string, std::string>> environment; ///< variables to set
    std::vector<std::string> unsetEnvironment;                    ///< variables to remove
    /// Whether the program may run where this machine refuses namespaces: proot only shows it other files.
    bool mayBeOpen = false;
};

/// Runs a program (found by its PATH) inside the sandbox, as RunCommand() does, and ends whatever it left
/// running. Bubblewrap isolates the program from this machine: its processes, network, devices and files. The
/// descriptors are watched as in RunWatch_T. After a request to end, the program is not started. Throws
/// std::runtime_error when the sandbox cannot be made.
int RunInSandbox(const Sandbox_T& sandbox, const std::vector<std::string>& program, const CSignals& signals,
                 const std::vector<int>& descriptors, const std::function<void()>& onReadable);
