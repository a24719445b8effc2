#pragma once

#include <sys/socket.h>
#include <sys/types.h>

/// What the supervisor reports to the simulator.
struct SupervisorReport_T {
    enum class Kind : int {
        Started, ///< the program is about to start
        Stopped, ///< SIGTSTP was sent to the program
        Ended    ///< the program has ended
    };
    Kind kind;
    int status = 0; ///< the program's exit status
};

// The simulator and the supervisor are connected by a pair of SOCK_SEQPACKET sockets. The simulator sends the
// numbers of signals for the program (int), and the supervisor sends reports.

/// Sends a message; returns whether it was sent.
template <class Message_T>
bool SendMessage(int socket, const Message_T& message)
{
    return ::send(socket, &message, sizeof message, MSG_NOSIGNAL | MSG_DONTWAIT) ==
           static_cast<ssize_t>(sizeof message);
}

/// Takes a message that has arrived. Returns its size: 0 when the other side is gone, negative when there is
/// no message.
template <class Message_T>
ssize_t TakeMessage(int socket, Message_T& message)
{
    return ::recv(socket, &message, sizeof message, MSG_DONTWAIT);
}
