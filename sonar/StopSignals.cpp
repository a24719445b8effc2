#include "sonar/StopSignals.h"

#include <ctime>
#include <thread>

CStopSignals::CStopSignals()
{
    sigemptyset(&m_Signals);
    for (const int number : {SIGINT, SIGTERM}) {
        sigaddset(&m_Signals, number);
        // A shell script that starts the program in the background sets them to be ignored.
        std::signal(number, SIG_DFL);
    }
    pthread_sigmask(SIG_BLOCK, &m_Signals, &m_BlockedBefore);
}

CStopSignals::~CStopSignals() { pthread_sigmask(SIG_SETMASK, &m_BlockedBefore, nullptr); }

bool CStopSignals::Wait(std::chrono::nanoseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    if (!m_bStopped) {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
        const timespec limit = {static_cast<std::time_t>(seconds.count()),
                                static_cast<long>((time - seconds).count())};
        m_bStopped = sigtimedwait(&m_Signals, nullptr, &limit) != -1;
        if (m_bStopped) {
            pthread_sigmask(SIG_UNBLOCK, &m_Signals, nullptr);
        }
    }
    std::this_thread::sleep_until(end);
    return !m_bStopped;
}
