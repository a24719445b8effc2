#pragma once

#include "framework/Products.h"
#include "fuzz/FuzzDevice.h"

#include <map>
#include <set>
#include <string>
#include <vector>

/// The unit on which the program under test runs, as long as the object lives: its files are texts, its
/// device nodes answer from the input, its shell runs nothing, and no time passes. The system calls of
/// WrappedCalls.cpp ask it.
class CFuzzWorld
{
public:
    /// An intact unit of the product. Its devices answer from the input, which must outlive this object.
    /// @param unchosen  their answer when the input has run out
    CFuzzWorld(const Product_T& product, CFuzzInput& input, Answer_T unchosen = Answer_T::Nothing);
    /// Releases what the run kept. An open descriptor is a finding.
    ~CFuzzWorld();
    CFuzzWorld(const CFuzzWorld&) = delete;

    /// The world of the current run; null between runs.
    static CFuzzWorld* Current();

    /// Runs the program's main() in it. An assertion that bad input may fail ends the run.
    void Run(std::vector<std::string> arguments);

    // The unit, for the input to damage.
    std::map<std::string, std::string, std::less<>> files; ///< contents by path; no other file can be opened
    std::set<std::string, std::less<>> directories;        ///< other paths that exist
    bool hasDevices = true;
    bool isTerminal = true; ///< whether device nodes are serial lines
    int shellResult = 0;
    unsigned int seconds = 3; ///< number of waits before the operator stops the run

    // What the system calls do in it. Results and errno are those of the calls.
    int Open(const char* path);
    bool Exists(const char* path) const;
    bool IsDevice(int descriptor) const { return m_DeviceDescriptors.contains(descriptor); }
    CFuzzDevice& Device() { return m_Device; }
    /// Returns true when the operator stops the run.
    bool WaitEndsInStop();
    const char* Variable(const char* name) const;
    /// Keeps the pointer to NAME=value, which is a constant of the program.
    void PutVariable(const char* text);

private:
    Link m_Link;
    CFuzzDevice m_Device;
    std::set<int> m_DeviceDescriptors;
    std::map<std::string, const char*, std::less<>> m_Variables;
    int m_FirstFreeDescriptor;
};
