#include "framework/TestControllerBase.h"

#include <QFile>
#include <QProcess>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace
{

constexpr int c_StartTimeoutMilliseconds = 30000;
constexpr unsigned int c_MillisecondsPerSecond = 1000;
constexpr mode_t c_NewFileMode = 0666;

constexpr qsizetype c_MebiByte = qsizetype{1024} * 1024;
// The largest file that a unit has reason to hold takes a hundredth of it; what never ends, such as
// /dev/zero, stops here instead of taking all memory.
constexpr qsizetype c_MostBytes = 32 * c_MebiByte;
constexpr qsizetype c_PieceBytes = qsizetype{64} * 1024;
constexpr std::chrono::milliseconds c_LongestSilence(5000);
constexpr std::chrono::milliseconds c_LongestTime(30000);
using Clock_T = std::chrono::steady_clock;

/// An open file, closed at its end; not open where there is nothing to open. QFile would encode the name as
/// UTF-8 and so miss a file whose name holds other bytes. Like QFile this does not open a directory.
class COpenFile
{
public:
    COpenFile(const QString& path, int flags)
        // A pipe that has nobody at its other end would keep a blocking open waiting.
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
    /// What the file says of itself; 0 where there is no end to be known, as of a device.
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

/// What can be read of a file that states its size: it has to fit into memory, beside what is made of it.
qsizetype MostStatedBytes()
{
    constexpr std::uint64_t addressable = std::numeric_limits<qsizetype>::max() / 8;
    const auto memory = static_cast<std::uint64_t>(std::max(::sysconf(_SC_PHYS_PAGES), 0L)) *
                        static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    return static_cast<qsizetype>(std::min(memory / 4, addressable));
}

/// Calls read() or write() until no signal comes in between. Returns the bytes that were transferred, -1 for
/// a failure.
template <typename Call, typename Bytes>
ssize_t Transfer(Call call, const COpenFile& file, Bytes* pBytes, qsizetype count)
{
    ssize_t transferred = -1;
    do {
        transferred = call(file.Descriptor(), pBytes, static_cast<std::size_t>(count));
    } while (transferred == -1 && errno == EINTR);
    return transferred;
}

/// Writes all of the data, without a buffer, because a driver's refusal has to show in the write.
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

/// The station's log says that the file could not be opened; why not is for the one who looks at it.
std::nullopt_t Refuse(const QString& path, const std::string& reason)
{
    std::fprintf(stderr, "%s: %s\n", path.toLatin1().constData(), reason.c_str());
    return std::nullopt;
}

std::string UpToFirstZero(const QByteArray& bytes) { return bytes.constData(); }

void AppendTo(std::string* output, std::string_view text)
{
    if (output != nullptr) {
        output->append(text);
    }
}

int MillisecondsToWait(unsigned int seconds)
{
    constexpr int noLimit = -1;
    constexpr auto longest = static_cast<unsigned int>(std::numeric_limits<int>::max());
    return seconds == 0 ? noLimit
                        : static_cast<int>(std::min(seconds, longest / c_MillisecondsPerSecond) *
                                           c_MillisecondsPerSecond);
}

} // namespace

bool TestControllerBase::FileExists(const QString& path)
{
    return ::access(path.toLatin1().constData(), F_OK) == 0;
}

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
            return Refuse(path, Clock_T::now() >= end ? "not at its end after 30 seconds"
                                                      : "nothing came to be read within 5 seconds");
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
                                        " MiB, which no file of a unit is");
            }
        }
    }
}

int TestControllerBase::GetFileContents(const QString& path, QByteArray& contents, std::string* output,
                                        FileOwner owner)
{
    const std::optional<QByteArray> read = ReadWholeFile(path, owner);
    if (!read) {
        Message(std::string(m_OutputStrings[OUT_FAILED_TO_OPEN_FILE]), output, true, true);
        Message("\n" + path.toLatin1().toStdString(), output, true, true);
        return TEST_FAILED;
    }
    contents = *read;
    return OPERATION_PERFORMED;
}

QString TestControllerBase::ReadFileContents(const QString& path)
{
    QByteArray contents;
    GetFileContents(path, contents, nullptr);
    return QString::fromLatin1(UpToFirstZero(contents));
}

bool TestControllerBase::CheckFileContents(const QString& path, const QByteArray& expected,
                                           std::string* output)
{
    const std::optional<QByteArray> contents = ReadWholeFile(path);
    if (!contents) {
        AppendTo(output, m_OutputStrings[OUT_FAILED_TO_OPEN_FILE]);
        return false;
    }
    if (contents->isEmpty()) {
        AppendTo(output, m_OutputStrings[OUT_EMPTY_FILE]);
        return false;
    }
    if (*contents == expected) {
        return true;
    }
    AppendTo(output, m_OutputStrings[OUT_INCORRECT_FILE_CONTENTS]);
    AppendTo(output, "Actual Filecontents: " + contents->toStdString() + "\n");
    AppendTo(output, "Expected Filecontents: " + expected.toStdString() + "\n");
    return false;
}

bool TestControllerBase::WriteToFile(const QString& path, const QByteArray& data, std::string* output)
{
    std::string message;
    COpenFile file(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file.IsOpen()) {
        message = m_OutputStrings[OUT_FAILED_TO_OPEN_FILE];
    } else {
        if (!WriteAll(file, data)) {
            message = m_OutputStrings[OUT_FAILED_TO_WRITE_FILE];
        }
        file.Close();
        ::sync();
    }
    const bool written = message.empty();
    if (!written) {
        message += path.toLatin1().toStdString() + "\n";
    }
    // A print carries a line end of its own, even when there is nothing to say.
    return Message(output != nullptr ? message : message + "\n", output, false, true) && written;
}

int TestControllerBase::ShowFileContents(const QString& path, std::string* output)
{
    QByteArray contents;
    if (GetFileContents(path, contents, output) != OPERATION_PERFORMED) {
        return TEST_FAILED;
    }
    // An empty sensor file is a failed reading.
    if (contents.isEmpty()) {
        AppendTo(output, m_OutputStrings[OUT_EMPTY_FILE]);
        return TEST_FAILED;
    }
    AppendTo(output, UpToFirstZero(contents) + "\n");
    return OPERATION_PERFORMED;
}

int TestControllerBase::RunProcess(const QString& command, std::string* output, unsigned int timeoutSeconds,
                                   QProcess** process, bool keepRunning, int quiet)
{
    auto child = std::make_unique<QProcess>();
    if (quiet == 0) {
        Message("Command = " + command.toLatin1().toStdString() + "\n", nullptr, true, false);
    }
    // QProcess encodes what it starts as UTF-8; decoded the same way, the command's bytes come through.
    // Split here, because its own split does not survive a command without words.
    QStringList words = QProcess::splitCommand(QFile::decodeName(command.toLatin1()));
    const QString program = words.isEmpty() ? QString() : words.takeFirst();
    child->start(program, words, QIODevice::ReadWrite);
    if (!child->waitForStarted(c_StartTimeoutMilliseconds)) {
        Message(std::string(m_OutputStrings[OUT_FILE_NOT_FOUND]), output, false, true);
        Message(command, output, false, true);
        Message(std::string("\n"), output, false, true);
        if (child->isReadable()) {
            Message(child->readAll().toStdString(), nullptr, true, false);
        }
        return TEST_FAILED;
    }
    if (keepRunning) {
        *process = child.release(); // the caller's from here on
        return OPERATION_PERFORMED;
    }
    const bool finished = child->waitForFinished(MillisecondsToWait(timeoutSeconds));
    const std::string printed = UpToFirstZero(child->readAll());
    if (quiet == 0) {
        Message("Out: " + printed, nullptr, true, false);
    }
    if (!finished) {
        child->kill();
        child->waitForFinished();
    }
    return finished ? OPERATION_PERFORMED : TEST_FAILED;
}
