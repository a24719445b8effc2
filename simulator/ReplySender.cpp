#include "simulator/ReplySender.h"

#include <sys/ioctl.h>
#include <unistd.h>

bool CReplySender::Send(const DeviceOutcome_T& outcome)
{
    const std::scoped_lock guard(m_Lock);
    const bool isPlain = outcome.replyDelay.count() == 0 && !outcome.isBytewise;
    if (isPlain && m_Waiting.empty()) {
        return Put(outcome.reply);
    }
    m_Waiting.push_back(
        {outcome.reply, std::chrono::steady_clock::now() + outcome.replyDelay, outcome.isBytewise});
    if (!m_Thread) {
        m_Thread.emplace([this](const std::stop_token& stop) { Run(stop); });
    }
    m_Wake.notify_one();
    return true;
}

bool CReplySender::Put(ByteView_T bytes) const
{
    return ::write(m_Master, bytes.data(), bytes.size()) == std::ssize(bytes);
}

bool CReplySender::IsUnread() const
{
    int count = 0;
    return ::ioctl(m_Slave, FIONREAD, &count) == 0 && count > 0;
}

void CReplySender::Run(const std::stop_token& stop)
{
    std::unique_lock guard(m_Lock);
    while (m_Wake.wait(guard, stop, [this] { return !m_Waiting.empty(); })) {
        const Reply_T reply = m_Waiting.front();
        m_Wake.wait_until(guard, stop, reply.due, [] { return false; });
        guard.unlock();
        if (!stop.stop_requested() && reply.isBytewise) {
            PutBytewise(stop, reply.bytes);
        } else if (!stop.stop_requested()) {
            Put(reply.bytes);
        }
        guard.lock();
        m_Waiting.pop_front();
    }
}

void CReplySender::PutBytewise(const std::stop_token& stop, const Bytes_T& bytes) const
{
    // The terminal hands a byte over a moment after it was put in; before that it does not count as unread.
    constexpr std::chrono::microseconds c_Moment(100);
    for (const std::uint8_t byte : bytes) {
        if (!Put({&byte, 1})) {
            return;
        }
        do {
            std::this_thread::sleep_for(c_Moment);
        } while (IsUnread() && !stop.stop_requested());
        if (stop.stop_requested()) {
            return;
        }
    }
}
