#pragma once

#include <csignal>
#include <functional>
#include <string>
#include <vector>

/// Takes the end of a child, and requests to end, out of a descriptor while it lives. Must be made before the
/// process starts a thread: a signal goes to any thread that does not block it.
class CSignals
{
public:
    /// Throws std::system_error when the system refuses.
    CSignals();
    CSignals(const CSignals&) = delete;
    CSignals& operator=(const CSignals&) = delete;
    ~CSignals();

    /// Readable when a signal waits.
    int Descriptor() const { return m_Descriptor; }
    /// The next waiting signal, 0 when there is none.
    int Take() const;
    /// The signals that were blocked before, for programs to start with.
    const sigset_t& Before() const { return m_Before; }

private:
    sigset_t m_Before{};
    int m_Descriptor;
};

/// Runs a command (found by PATH) with this process's standard streams and waits for its end. While it runs,
/// onReadable is called whenever one of the descriptors has input. Interrupts from the keyboard are left to
/// the program; SIGTERM and SIGHUP are passed on to it. Returns its exit status, 128 + N when signal N ended
/// it. Throws std::system_error when it cannot be started.
int RunProgram(const std::vector<std::string>& command, const CSignals& signals,
               const std::vector<int>& descriptors, const std::function<void()>& onReadable);
