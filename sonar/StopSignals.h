#pragma once

#include <chrono>
#include <csignal>

/// While an object of this class lives, the first SIGINT or SIGTERM asks the program to finish. It arrives
/// only in Wait(), so that it disturbs no device transfer. The next one ends the program at once. The
/// constructor sets both to their default action for good. One object at a time, in a program with one
/// thread.
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
