#include "simulator/unit/RunGuard.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <poll.h>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace
{
/// How long the first thread may take to end the run after a request to end. The program has c_EndTime of it.
constexpr std::chrono::milliseconds c_FirstThreadTime(850);
constexpr std::initializer_list<int> c_EndSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

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
/// A descriptor that is readable while one of the signals waits, which the caller blocks; -1 on failure.
int DescriptorOf(std::initializer_list<int> signals)
{
    sigset_t set;
    ::sigemptyset(&set);
    for (const int signal : signals) {
        ::sigaddset(&set, signal);
    }
    return ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

/// Takes a signal that waits at such a descriptor; 0 when there is none.
int TakeSignal(int descriptor)
{
    signalfd_siginfo information{};
    return ::read(descriptor, &information, sizeof information) == sizeof information
               ? static_cast<int>(information.ssi_signo)
               : 0;
}

/// @param errors  standard error, which may be full
[[noreturn]] void EndBecauseTimeIsUp(int errors)
{
    pollfd target = {errors, POLLOUT, 0};
    if (::poll(&target, 1, 0) == 1) {
        // The first thread may hold the stream's lock, and a handler of a signal must not take it.
        for (const std::string_view text : {"sonarbench-sim: ", CRunGuard::c_TimeIsUpText, "\n"}) {
            [[maybe_unused]] const auto written = ::write(errors, text.data(), text.size());
        }
    }
    ::_exit(CRunGuard::c_TimeIsUp);
}
} // namespace

void StartTimeLimit(std::chrono::seconds limit)
{
    ::signal(SIGALRM, [](int) { EndBecauseTimeIsUp(STDERR_FILENO); });
    ::alarm(static_cast<unsigned>(limit.count()));
}

CRunGuard::CRunGuard(const CSignals& signals, std::function<void()> remove)
    : m_Signals(signals), m_Remove(std::move(remove)),
      m_Errors(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)),
      m_Requests(DescriptorOf(c_EndSignals)), m_Alarm(DescriptorOf({SIGALRM})),
      m_Stop(::eventfd(0, EFD_CLOEXEC))
{
    if (m_Errors < 0 || m_Requests < 0 || m_Alarm < 0 || m_Stop < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    m_Thread = std::thread([this] { Watch(); });
}

CRunGuard::~CRunGuard()
{
    ::eventfd_write(m_Stop, 1);
    m_Thread.join();
    ::alarm(0);
    TakeSignal(m_Alarm); // it came too late
    if (m_IsTimeUp) {
        TakeSignal(m_Requests); // this object's own, if nobody else took it
    }
    for (const int descriptor : {m_Errors, m_Requests, m_Alarm, m_Stop}) {
        ::close(descriptor);
    }
}

void CRunGuard::Watch()
{
    constexpr std::chrono::hours c_LongTime(24);
    // The first thread may take the request before this one sees it.
    const std::array<int, 4> events = {m_Requests, m_Alarm, m_Signals.EndDescriptor(), m_Stop};
    while (!WaitFor(events, c_LongTime)) {
    }
    if (TakeSignal(m_Alarm) != 0) {
        m_IsTimeUp = true;
        ::kill(::getpid(), SIGTERM); // as if a user had ended the run
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
        EndBecauseTimeIsUp(m_Errors);
    }
    const int signal = m_Signals.EndRequest();
    ::_exit(StatusOfSignal(signal != 0 ? signal : TakeSignal(m_Requests)));
}
