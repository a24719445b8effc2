#pragma once

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
    std::vector<Binding_T> bindings;
    std::filesystem::path workingDirectory;
    std::vector<std::pair<std::string, std::string>> environment; ///< variables to set
    std::vector<std::string> unsetEnvironment;                    ///< variables to take away
};

/// The command line that runs a program (found by its PATH) inside the sandbox: with bubblewrap, or with
/// proot where this machine refuses namespaces. Throws std::runtime_error when neither can be had.
std::vector<std::string> SandboxCommand(const Sandbox_T& sandbox, const std::vector<std::string>& program);
