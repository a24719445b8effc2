#pragma once

#include "simulator/unit/ProgramRun.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

/// A file or directory of this machine that the program sees at another place. One that does not exist leaves
/// the place empty.
struct Binding_T {
    std::filesystem::path host;
    std::filesystem::path inside;
    bool isDevice = false;
};

/// The unit's file system: this machine's, with some places replaced. Bindings later in the list lie over
/// earlier ones.
struct Sandbox_T {
    std::filesystem::path directory; ///< of the sandbox's own, on this machine; the caller removes it
    std::filesystem::path inside;    ///< where the program sees that directory
    std::vector<Binding_T> bindings;
    std::filesystem::path workingDirectory;
    std::vector<std::pair<std::string, std::string>> environment; ///< variables to set
    std::vector<std::string> unsetEnvironment;                    ///< variables to take away
};

/// Runs a program (found by its PATH) inside the sandbox, as RunCommand() does, and ends whatever it left
/// running; a program that is to end before its start is not started: with bubblewrap, or with proot where
/// this machine refuses namespaces. The descriptors are watched as in RunWatch_T. Throws std::runtime_error
/// when the sandbox cannot be had.
int RunInSandbox(const Sandbox_T& sandbox, const std::vector<std::string>& program, const CSignals& signals,
                 const std::vector<int>& descriptors, const std::function<void()>& onReadable);
