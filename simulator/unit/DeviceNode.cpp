#include "simulator/unit/DeviceNode.h"

#include "simulator/unit/ProgramRun.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <system_error>
#include <utility>

namespace
{
[[noreturn]] void ThrowMessage(const std::string& what, GError* pError)
{
    const std::string message = what + ": " + (pError != nullptr ? pError->message : "unknown failure");
    g_clear_error(&pError);
    throw std::runtime_error(message);
}

[[noreturn]] void ThrowErrno(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// What the argument pointer of a request points to; nothing for a null pointer.
Object_T<UMockdevIoctlData> ArgumentOf(UMockdevIoctlClient* pClient, std::size_t size)
{
    UMockdevIoctlData* const pPointer = umockdev_ioctl_client_get_arg(pClient);
    return Object_T<UMockdevIoctlData>(size > 0 ? umockdev_ioctl_data_resolve(pPointer, 0, size, nullptr)
                                                : nullptr);
}

/// Changes bytes of the caller.
void Fill(UMockdevIoctlData* pData, Bytes_T& bytes)
{
    if (!bytes.empty()) {
        umockdev_ioctl_data_update(pData, 0, bytes.data(), static_cast<gint>(bytes.size()));
    }
}
} // namespace

bool CReplySender::Send(const DeviceOutcome_T& outcome)
{
    const std::scoped_lock guard(m_Lock);
    const bool isPlain =
        outcome.replyDelay.count() == 0 && outcome.pace == Pace::AtOnce && outcome.morePieces.empty();
    if (isPlain && m_Waiting.empty()) {
        return Put(outcome.reply);
    }
    m_Waiting.push_back({outcome.reply, std::chrono::steady_clock::now() + outcome.replyDelay, outcome.pace,
                         outcome.morePieces});
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
        if (!stop.stop_requested() && reply.pace == Pace::Bytewise) {
            PutBytewise(stop, reply.bytes);
        } else if (!stop.stop_requested() && reply.pace == Pace::Slow) {
            PutSlowly(stop, reply.bytes);
        } else if (!stop.stop_requested()) {
            PutPieces(stop, reply);
        }
        guard.lock();
        m_Waiting.pop_front();
    }
}

void CReplySender::AwaitRead(const std::stop_token& stop) const
{
    // The terminal needs a moment to hand bytes over; until then they do not count as unread.
    constexpr std::chrono::microseconds c_Moment(100);
    do {
        std::this_thread::sleep_for(c_Moment);
    } while (IsUnread() && !stop.stop_requested());
}

void CReplySender::PutBytewise(const std::stop_token& stop, const Bytes_T& bytes) const
{
    for (const std::uint8_t byte : bytes) {
        if (!Put({&byte, 1})) {
            return;
        }
        AwaitRead(stop);
        if (stop.stop_requested()) {
            return;
        }
    }
}

void CReplySender::PutPieces(const std::stop_token& stop, const Reply_T& reply)
{
    const ByteView_T bytes = reply.bytes;
    std::size_t begin = 0;
    for (const ReplyPiece_T& piece : reply.morePieces) {
        if (!Put(bytes.subspan(begin, piece.offset - begin))) {
            return;
        }
        begin = piece.offset;
        AwaitRead(stop);
        std::unique_lock guard(m_Lock);
        m_Wake.wait_for(guard, stop, piece.delay, [] { return false; });
        if (stop.stop_requested()) {
            return;
        }
    }
    Put(bytes.subspan(begin));
}

void CReplySender::PutSlowly(const std::stop_token& stop, const Bytes_T& bytes)
{
    // Shorter than the program waits for a byte.
    constexpr std::chrono::milliseconds c_ByteTime(500);
    for (const std::uint8_t byte : bytes) {
        std::unique_lock guard(m_Lock);
        m_Wake.wait_for(guard, stop, c_ByteTime, [] { return false; });
        if (stop.stop_requested() || !Put({&byte, 1})) {
            return;
        }
    }
}

CDeviceNode::CDeviceNode(CDeviceHost::Implementation& host, std::string name, IDeviceModel& model)
    : m_Host(host), m_Name(std::move(name)), m_Node("/dev/" + m_Name), m_IsEmulated(IsEmulated()),
      m_Model(model), m_Master(MakeTerminal()), m_Slave(OpenSlave()), m_Sender(m_Master, m_Slave.Get()),
      m_pHandler(umockdev_ioctl_base_new())
{
    if (m_Model.IsSerialLine()) {
        MakeSerialLine();
    }
    g_signal_connect(m_pHandler.get(), "handle-ioctl", G_CALLBACK(&CDeviceNode::OnIoctl), this);
    g_signal_connect(m_pHandler.get(), "handle-write", G_CALLBACK(&CDeviceNode::OnWrite), this);
    GError* pError = nullptr;
    if (!umockdev_testbed_attach_ioctl(m_Host.pTestbed.get(), m_Node.c_str(), m_pHandler.get(), &pError)) {
        ThrowMessage("cannot serve " + m_Node, pError);
    }
}

/// The library makes a raw pseudo-terminal of a node with a terminal's major number and no contents.
int CDeviceNode::MakeTerminal() const
{
    const std::string description = "P: /devices/platform/" + m_Name + "\nN: " + m_Name +
                                    "\nE: SUBSYSTEM=tty\nE: MAJOR=4\nE: MINOR=64\nE: DEVNAME=" + m_Node +
                                    "\n";
    GError* pError = nullptr;
    if (!umockdev_testbed_add_from_string(m_Host.pTestbed.get(), description.c_str(), &pError)) {
        ThrowMessage("cannot make " + m_Node, pError);
    }
    const int master = umockdev_testbed_get_dev_fd(m_Host.pTestbed.get(), m_Node.c_str());
    if (::fcntl(master, F_SETFL, O_NONBLOCK) != 0 || ::fcntl(master, F_SETFD, FD_CLOEXEC) != 0) {
        ThrowErrno("cannot set up " + m_Node);
    }
    return master;
}

/// Kept open, because a terminal whose last user closes it hangs up.
int CDeviceNode::OpenSlave() const
{
    const int slave = ::open((m_Host.root / m_Node.substr(1)).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave < 0) {
        ThrowErrno("cannot open " + m_Node);
    }
    return slave;
}

/// The settings of a serial line before a program sets it up.
void CDeviceNode::MakeSerialLine() const
{
    termios settings{};
    settings.c_iflag = ICRNL | IXON;
    settings.c_oflag = OPOST | ONLCR;
    settings.c_cflag = CS8 | CREAD | CLOCAL;
    settings.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | IEXTEN;
    ::cfsetispeed(&settings, B9600);
    ::cfsetospeed(&settings, B9600);
    if (::tcsetattr(m_Slave.Get(), TCSANOW, &settings) != 0) {
        ThrowErrno("cannot set up " + m_Node);
    }
}

void CDeviceNode::TellLine()
{
    if (!m_Model.IsSerialLine()) {
        return;
    }
    termios settings{};
    ::tcgetattr(m_Master, &settings);
    // An emulator does not know speeds above 460,800 baud and shows them as 0.
    if (m_IsEmulated && ::cfgetospeed(&settings) == B0) {
        ::cfsetspeed(&settings, B3000000);
    }
    m_Model.SetLine(settings);
}

void CDeviceNode::Drain()
{
    std::array<std::uint8_t, 4096> chunk{};
    for (;;) {
        const ssize_t count = ::read(m_Master, chunk.data(), chunk.size());
        if (count <= 0) {
            return;
        }
        const auto room = static_cast<ssize_t>(c_LargestImage - m_Image.size());
        m_IsTooLarge = m_IsTooLarge || count > room;
        m_Image.insert(m_Image.end(), chunk.begin(), chunk.begin() + std::min(count, room));
    }
}

std::string CDeviceNode::TooLarge() const
{
    return "an image of more than " + std::to_string(c_LargestImage >> 20) + " MiB on " + m_Node;
}

void CDeviceNode::TakeImage()
{
    Drain();
    if (m_Image.empty()) {
        return;
    }
    const Bytes_T image = std::exchange(m_Image, {});
    DeviceOutcome_T outcome = m_Model.TakeImage(image);
    if (std::exchange(m_IsTooLarge, false)) {
        outcome.refusals.push_back(TooLarge());
    }
    Finish(DeviceOperation_T::Kind::Image, 0, image, std::move(outcome));
}

/// Reports the operation and lets its reply become readable.
void CDeviceNode::Finish(DeviceOperation_T::Kind kind, unsigned long request, ByteView_T bytes,
                         DeviceOutcome_T outcome)
{
    if (!outcome.reply.empty() && !m_Sender.Send(outcome)) {
        outcome.refusals.push_back("the reply of " + std::to_string(outcome.reply.size()) +
                                   " bytes does not fit into the node's buffer");
    }
    m_Host.observer({m_Name, kind, request, bytes, outcome});
}

void CDeviceNode::PassOnUnasked()
{
    TellLine();
    if (auto outcome = m_Model.TakeUnasked()) {
        Finish(DeviceOperation_T::Kind::Unasked, 0, {}, std::move(*outcome));
    }
}

void CDeviceNode::Operate(UMockdevIoctlClient* pClient, bool isWrite)
{
    const std::scoped_lock guard(m_Host.lock);
    if (m_Host.isFinished) {
        umockdev_ioctl_client_complete(pClient, -1, ENODEV);
        return;
    }
    // A write to one node can change the answers of another.
    for (const auto& node : m_Host.nodes) {
        node->TakeImage();
    }
    TellLine();
    const auto kind = isWrite ? DeviceOperation_T::Kind::Write : DeviceOperation_T::Kind::Ioctl;
    const unsigned long request = isWrite ? 0 : umockdev_ioctl_client_get_request(pClient);
    Bytes_T bytes;
    DeviceOutcome_T outcome;
    if (isWrite) {
        UMockdevIoctlData* const pData = umockdev_ioctl_client_get_arg(pClient);
        bytes.assign(pData->data, pData->data + pData->data_len);
        outcome = m_Model.Write(bytes);
        Fill(pData, outcome.fill);
    } else {
        const std::size_t size = m_Model.IoctlArgumentSize(request);
        const Object_T<UMockdevIoctlData> argument = ArgumentOf(pClient, size);
        bytes = argument ? Bytes_T(argument->data, argument->data + size) : Bytes_T();
        outcome = m_Model.Ioctl(request, bytes);
        Fill(argument.get(), outcome.fill);
    }
    const int error = outcome.error;
    const std::size_t done = outcome.taken.value_or(isWrite ? bytes.size() : 0);
    Finish(kind, request, bytes, std::move(outcome));
    for (const auto& node : m_Host.nodes) {
        node->PassOnUnasked();
    }
    umockdev_ioctl_client_complete(pClient, error != 0 ? -1 : static_cast<glong>(done), error);
}

gboolean CDeviceNode::OnIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* pClient, gpointer pNode)
{
    static_cast<CDeviceNode*>(pNode)->Operate(pClient, false);
    return TRUE;
}

gboolean CDeviceNode::OnWrite(UMockdevIoctlBase*, UMockdevIoctlClient* pClient, gpointer pNode)
{
    static_cast<CDeviceNode*>(pNode)->Operate(pClient, true);
    return TRUE;
}
