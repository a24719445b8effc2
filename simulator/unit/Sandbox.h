#pragma once

#include "simulator/unit/ProgramRun.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

/// A file or directory of this machine that the program sees at another place. If it does not exist,
/// the place is empty.
struct Binding_T {
    std::filesystem::path host;
    std::filesystem::path inside;
    bool isDevice = false;
};

/// The unit's file system: this machine's, with some places replaced. Later bindings in the list cover
/// earlier ones.
struct Sandbox_T {
    std::filesystem::path directory; ///< for the sandbox's own files, on this machine; the caller removes it
    std::filesystem::path inside;    ///< where the program sees that directory
    std::vector<Binding_T> bindings;
    std::filesystem::path workingDirectory;
    std::vector<std::pair<std::string, std::string>> environment; ///< variables to set
    std::vector<std::string> unsetEnvironment;                    ///< variables to remove
};

/// Runs a program (found by its PATH) inside the sandbox, as RunCommand() does, and ends whatever it left
/// running. The sandbox is made by bubblewrap, or by proot where this machine refuses namespaces. After a
/// request to end, the program is not started. The descriptors are watched as in RunWatch_T. Throws
/// std::runtime_error when the sandbox cannot be made.
int RunInSandbox(const Sandbox_T& sandbox, const std::vector<std::string>& program, const CSignals& signals,
                 const std::vector<int>& descriptors, const std::function<void()>& onReadable);
