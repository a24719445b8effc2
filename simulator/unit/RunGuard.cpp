#include "simulator/unit/RunGuard.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace
{
/// How long the first thread may take to end the run after a request to end. The program has c_EndTime of it.
constexpr std::chrono::milliseconds c_FirstThreadTime(850);
constexpr std::array<int, 4> c_EndSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

/// Waits until one of the descriptors is readable; false: the time passed first.
template <std::size_t Count_N>
bool WaitFor(const std::array<int, Count_N>& descriptors, std::chrono::milliseconds time)
{
    using Clock_T = std::chrono::steady_clock;
    const auto end = Clock_T::now() + time;
    std::array<pollfd, Count_N> watched{};
    for (std::size_t at = 0; at < Count_N; ++at) {
        watched[at] = {descriptors[at], POLLIN, 0};
    }
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock_T::now());
        const int ready = ::poll(watched.data(), Count_N, std::max(0, static_cast<int>(left.count())));
        if (ready >= 0) {
            return ready > 0;
        }
    }
}
} // namespace

CRunGuard::CRunGuard(const CSignals& signals, std::optional<std::chrono::seconds> limit,
                     std::function<void()> remove)
    : m_Signals(signals), m_Limit(limit), m_Remove(std::move(remove)),
      m_Errors(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)), m_Stop(::eventfd(0, EFD_CLOEXEC))
{
    sigset_t requests;
    ::sigemptyset(&requests);
    for (const int signal : c_EndSignals) {
        ::sigaddset(&requests, signal);
    }
    m_Requests = ::signalfd(-1, &requests, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_Errors < 0 || m_Stop < 0 || m_Requests < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    m_Thread = std::thread([this] { Watch(); });
}

CRunGuard::~CRunGuard()
{
    ::eventfd_write(m_Stop, 1);
    m_Thread.join();
    for (const int descriptor : {m_Errors, m_Stop, m_Requests}) {
        ::close(descriptor);
    }
}

void CRunGuard::Watch()
{
    constexpr std::chrono::hours c_LongTime(24);
    // The first thread may take the request before this one sees it.
    const std::array<int, 3> events = {m_Requests, m_Signals.EndDescriptor(), m_Stop};
    while (!WaitFor(events, m_Limit.value_or(c_LongTime))) {
        if (m_Limit) {
            m_IsTimeUp = true;
            ::kill(::getpid(), SIGTERM); // as if a user had ended the run
            break;
        }
    }
    if (!WaitFor(std::array{m_Stop}, c_FirstThreadTime)) {
        EndProcess();
    }
}

void CRunGuard::EndProcess() const
{
    EndChildren();
    m_Remove();
    if (m_IsTimeUp) {
        // The stream may be full, and the first thread may hold its lock.
        const std::string text = std::string("sonarbench-sim: ") + c_TimeIsUpText + "\n";
        pollfd errors = {m_Errors, POLLOUT, 0};
        if (::poll(&errors, 1, 0) == 1) {
            [[maybe_unused]] const auto written = ::write(m_Errors, text.data(), text.size());
        }
        ::_exit(c_TimeIsUp);
    }
    signalfd_siginfo information{};
    int signal = m_Signals.EndRequest();
    if (signal == 0 && ::read(m_Requests, &information, sizeof information) == sizeof information) {
        signal = static_cast<int>(information.ssi_signo);
    }
    ::_exit(StatusOfSignal(signal));
}
