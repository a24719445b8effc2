#pragma once

#include "simulator/unit/ProgramRun.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

/// Starts the time limit of a run. At its end the process ends with CRunGuard::c_TimeIsUp, but while CSignals
/// lives, CRunGuard has to see to that.
void StartTimeLimit(std::chrono::seconds limit);

/// Ends the simulator when its first thread cannot: that thread may wait for a file, a pipe or a lock. While
/// it lives, the process ends soon after a request to end, and the end of the time limit is such a request.
/// It starts a thread.
class CRunGuard
{
public:
    /// Exit status of a run that its time limit ended, as that of timeout(1).
    static constexpr int c_TimeIsUp = 124;
    static constexpr char c_TimeIsUpText[] = "the time limit ended the run";

    /// @param remove  removes what the process must not leave; called in the guard's thread
    /// Throws std::system_error when the system refuses.
    CRunGuard(const CSignals& signals, std::function<void()> remove);
    CRunGuard(const CRunGuard&) = delete;
    CRunGuard& operator=(const CRunGuard&) = delete;
    ~CRunGuard();

    /// Whether the time limit ended the run.
    bool IsTimeUp() const { return m_IsTimeUp; }

private:
    void Watch();
    [[noreturn]] void EndProcess() const;

    const CSignals& m_Signals;
    const std::function<void()> m_Remove;
    std::atomic<bool> m_IsTimeUp{false};
    int m_Errors;   ///< standard error, which becomes a pipe during a run with a report
    int m_Requests; ///< readable while a request to end waits
    int m_Alarm;    ///< readable when the time limit is over
    int m_Stop;     ///< readable when the guard is no longer needed
    std::thread m_Thread;
};
