#pragma once

#include <chrono>
#include <csignal>

/// While it lives, SIGINT and SIGTERM ask the program to finish what it is doing instead of ending it. They
/// reach the program only in Wait(), so that they disturb no device transfer. One at a time, in a program of
/// one thread.
class CStopSignals
{
public:
    CStopSignals();
    ~CStopSignals();
    CStopSignals(const CStopSignals&) = delete;
    CStopSignals& operator=(const CStopSignals&) = delete;

    /// Waits for the whole time, whatever arrives. Returns false when a signal has asked the program to stop;
    /// from then on a further one ends the program at once.
    bool Wait(std::chrono::nanoseconds time);

private:
    sigset_t m_Signals = {};
    sigset_t m_BlockedBefore = {};
    bool m_bStopped = false;
};
