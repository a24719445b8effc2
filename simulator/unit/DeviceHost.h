#pragma once

#include "simulator/models/DeviceModel.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The device nodes of a unit at the kernel's boundary. Each node is a raw pseudo-terminal, so that poll,
/// read, locks and what child processes write go through the kernel; the node's model
/// answers requests and writes of the program. Only this class and CDeviceNode know how. A process has one at
/// most, and makes it before it starts a thread.
class CDeviceHost
{
public:
    using Observer_T = std::function<void(const DeviceOperation_T&)>;

    /// @param directory  an existing directory for the nodes and the unit's /sys. Its path must be short
    /// enough
    ///                   for the address of a socket below it (about 50 characters).
    /// @param observer   called after every operation, in their order, one at a time
    /// Throws std::runtime_error when the machine lacks what is needed.
    CDeviceHost(const std::filesystem::path& directory, Observer_T observer);
    CDeviceHost(const CDeviceHost&) = delete;
    CDeviceHost& operator=(const CDeviceHost&) = delete;
    /// After it, neither models nor observer are called. The nodes stay until the process ends, the files
    /// below Root() until the directory is removed.
    ~CDeviceHost();

    /// Directory that holds the unit's dev and sys.
    std::filesystem::path Root() const;

    /// Makes the node /dev/<name>, answered by the model, which must live as long as this object.
    void AddDevice(const std::string& name, IDeviceModel& model);

    /// Descriptors that become readable when child processes wrote to a node; Drain() then takes the bytes,
    /// so that a writer of more than a terminal's buffer is not held up. It throws std::runtime_error for
    /// more bytes than an image can have.
    std::vector<int> Descriptors() const;
    void Drain();

    /// Hands the models what child processes wrote last; call after the program's end. After it, neither
    /// models nor observer are called: an operation of a killed program fails.
    void Finish();

    /// Environment that makes a program use these nodes. The program sees the directory given at construction
    /// as insideDirectory.
    std::vector<std::pair<std::string, std::string>>
    Environment(const std::filesystem::path& insideDirectory) const;

private:
    friend class CDeviceNode; // a node knows its host
    struct Implementation;
    std::unique_ptr<Implementation> m_pImplementation;
};
