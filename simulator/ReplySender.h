#pragma once

#include "simulator/DeviceModel.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

/// Puts replies into a node's terminal in their order: at once, or later and byte by byte where a fault wants
/// it so.
class CReplySender
{
public:
    /// @param master  descriptor of the terminal's device side
    /// @param slave   descriptor of the program's side, on which bytes that are not read yet are counted
    CReplySender(int master, int slave) : m_Master(master), m_Slave(slave) {}

    /// Sends the reply of an outcome; false when it does not fit into the terminal's buffer.
    bool Send(const DeviceOutcome_T& outcome);

private:
    struct Reply_T {
        Bytes_T bytes;
        std::chrono::steady_clock::time_point due;
        bool isBytewise;
    };

    bool Put(ByteView_T bytes) const;
    /// Whether the program has left bytes unread.
    bool IsUnread() const;
    void Run(const std::stop_token& stop);
    void PutBytewise(const std::stop_token& stop, const Bytes_T& bytes) const;

    const int m_Master;
    const int m_Slave;
    std::mutex m_Lock;
    std::condition_variable_any m_Wake;
    std::deque<Reply_T> m_Waiting; ///< the first stays until it was sent
    std::optional<std::jthread>
        m_Thread; ///< last, so that it ends before what it uses; from the first delay on
};
