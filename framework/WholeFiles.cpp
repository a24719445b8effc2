#include "framework/TestControllerBase.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace
{
constexpr mode_t c_NewFileMode = 0666;

constexpr qsizetype c_MebiByte = qsizetype{1024} * 1024;
// Reading a file without an end, such as /dev/zero, stops here before it takes all memory.
constexpr qsizetype c_MostBytes = 32 * c_MebiByte;
constexpr qsizetype c_PieceBytes = qsizetype{64} * 1024;
constexpr std::chrono::milliseconds c_LongestSilence(5000);
constexpr std::chrono::milliseconds c_LongestTime(30000);
using Clock_T = std::chrono::steady_clock;

/// An open file, closed by the destructor; IsOpen() is false when it could not be opened. QFile would encode
/// the name as UTF-8 and miss a file whose name holds other bytes. Like QFile, this opens no directory.
class COpenFile
{
public:
    COpenFile(const QString& path, int flags)
        // A blocking open would wait for somebody at the other end of a pipe.
        : m_Descriptor(::open(path.toLatin1().constData(), flags | O_CLOEXEC | O_NONBLOCK, c_NewFileMode))
    {
        struct stat status = {};
        if (IsOpen() && ::fstat(m_Descriptor, &status) == 0) {
            m_StatedSize = S_ISREG(status.st_mode) ? status.st_size : 0;
        }
        if (S_ISDIR(status.st_mode)) {
            Close();
        } else if (IsOpen()) {
            ::fcntl(m_Descriptor, F_SETFL, ::fcntl(m_Descriptor, F_GETFL) & ~O_NONBLOCK);
        }
    }
    ~COpenFile() { Close(); }
    COpenFile(const COpenFile&) = delete;
    COpenFile& operator=(const COpenFile&) = delete;

    bool IsOpen() const { return m_Descriptor != -1; }
    int Descriptor() const { return m_Descriptor; }
    /// Size of a regular file in bytes; 0 for anything else.
    off_t StatedSize() const { return m_StatedSize; }
    void Close()
    {
        if (IsOpen()) {
            ::close(std::exchange(m_Descriptor, -1));
        }
    }

private:
    int m_Descriptor;
    off_t m_StatedSize = 0;
};

/// Most bytes that are read of a regular file: they have to fit into memory together with what is made of
/// them.
qsizetype MostStatedBytes()
{
    constexpr std::uint64_t addressable = std::numeric_limits<qsizetype>::max() / 8;
    const auto memory = static_cast<std::uint64_t>(std::max(::sysconf(_SC_PHYS_PAGES), 0L)) *
                        static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    return static_cast<qsizetype>(std::min(memory / 4, addressable));
}

/// Calls read() or write(), again when a signal interrupts it. Returns the bytes that were transferred, -1
/// for a failure.
template <typename Call, typename Bytes>
ssize_t Transfer(Call call, const COpenFile& file, Bytes* pBytes, qsizetype count)
{
    ssize_t transferred = -1;
    do {
        transferred = call(file.Descriptor(), pBytes, static_cast<std::size_t>(count));
    } while (transferred == -1 && errno == EINTR);
    return transferred;
}

/// Writes all of the data. No buffer is used, so that a driver's refusal shows in the write.
bool WriteAll(const COpenFile& file, QByteArrayView data)
{
    while (!data.isEmpty()) {
        const ssize_t written = Transfer(::write, file, data.data(), data.size());
        if (written <= 0) {
            return false;
        }
        data = data.sliced(written);
    }
    return true;
}

/// Standard output only says that the file could not be opened. The reason goes to standard error.
std::nullopt_t Refuse(const QString& path, const std::string& reason)
{
    std::fprintf(stderr, "%s: %s\n", path.toLatin1().constData(), reason.c_str());
    return std::nullopt;
}
} // namespace

std::optional<QByteArray> TestControllerBase::ReadWholeFile(const QString& path, FileOwner owner)
{
    const COpenFile file(path, O_RDONLY);
    if (!file.IsOpen()) {
        return std::nullopt;
    }
    char piece[c_PieceBytes];
    QByteArray contents;
    qsizetype most = c_MostBytes;
    const auto end = Clock_T::now() + c_LongestTime;
    for (;;) {
        pollfd readable = {file.Descriptor(), POLLIN, 0};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock_T::now());
        const auto patience = std::clamp(left, std::chrono::milliseconds(0), c_LongestSilence);
        const int ready = ::poll(&readable, 1, static_cast<int>(patience.count()));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready == 0) {
            return Refuse(path, Clock_T::now() >= end ? "no end of file within 30 seconds"
                                                      : "no data within 5 seconds");
        }
        const ssize_t count = Transfer(::read, file, piece, c_PieceBytes);
        if (count <= 0) {
            return contents;
        }
        contents.append(piece, count);
        if (contents.size() > most) {
            most = owner == FileOwner::Station && file.StatedSize() > most ? MostStatedBytes() : most;
            if (std::max<off_t>(file.StatedSize(), contents.size()) > most) {
                return Refuse(path, "larger than " + std::to_string(most / c_MebiByte) +
                                        " MiB, the most that is read");
            }
        }
    }
}

bool TestControllerBase::WriteToFile(const QString& path, const QByteArray& data, std::string* output)
{
    const std::string line = path.toLatin1().toStdString() + "\n";
    std::string message;
    if (COpenFile file(path, O_WRONLY | O_CREAT | O_TRUNC); !file.IsOpen()) {
        message = std::string(m_OutputStrings[OUT_FAILED_TO_OPEN_FILE]) + line;
    } else {
        if (!WriteAll(file, data)) {
            message = std::string(m_OutputStrings[OUT_FAILED_TO_WRITE_FILE]) + line;
        }
        file.Close();
        ::sync();
    }
    // When it is printed, another line end follows, even after an empty message.
    Message(output != nullptr ? message : message + "\n", output, false, true);
    return message.empty();
}
