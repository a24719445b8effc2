#pragma once

#include <chrono>
#include <csignal>

/// While an object of this class lives, SIGINT and SIGTERM do not end the program but ask it to finish. They
/// arrive only in Wait(), so that they disturb no device transfer. One object at a time, in a program with
/// one thread.
class CStopSignals
{
public:
    CStopSignals();
    ~CStopSignals();
    CStopSignals(const CStopSignals&) = delete;
    CStopSignals& operator=(const CStopSignals&) = delete;

    /// Waits for the whole time, even when a signal arrives. Returns false once a signal has asked the
    /// program to stop; the next one ends the program at once.
    bool Wait(std::chrono::nanoseconds time);

private:
    sigset_t m_Signals = {};
    sigset_t m_BlockedBefore = {};
    bool m_bStopped = false;
};
