#include "framework/TestControllerBase.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr int c_StartTimeoutMilliseconds = 30000;
constexpr unsigned int c_MillisecondsPerSecond = 1000;
constexpr mode_t c_NewFileMode = 0666;

// The largest file that a unit has reason to hold takes a hundredth of it; what never ends, such as
// /dev/zero, stops here instead of taking all memory.
constexpr qsizetype c_MostBytes = qsizetype{32} * 1024 * 1024;
constexpr qsizetype c_PieceBytes = qsizetype{64} * 1024;
constexpr qint64 c_SilenceMilliseconds = 5000;
constexpr qint64 c_LongestMilliseconds = 30000;

// QFile would encode the name as UTF-8 and so miss a file whose name holds other bytes. Like QFile this does
// not open a directory.
bool Open(QFile& file, const QString& path, int flags, QIODevice::OpenMode mode)
{
    // A pipe that has nobody at its other end would keep a blocking open waiting.
    const int descriptor = ::open(path.toLatin1().constData(), flags | O_CLOEXEC | O_NONBLOCK, c_NewFileMode);
    if (descriptor == -1) {
        return false;
    }
    struct stat status = {};
    if (::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        ::close(descriptor);
        return false;
    }
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
    return file.open(descriptor, mode, QFileDevice::AutoCloseHandle);
}

/// The station's log says that the file could not be opened; why not is for the one who looks at it.
std::nullopt_t Refuse(const QString& path, const char* reason)
{
    std::fprintf(stderr, "%s: %s\n", path.toLatin1().constData(), reason);
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

std::optional<QByteArray> TestControllerBase::ReadWholeFile(const QString& path)
{
    QFile file;
    if (!Open(file, path, O_RDONLY, QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return std::nullopt;
    }
    QByteArray contents;
    const QDeadlineTimer end(c_LongestMilliseconds);
    for (;;) {
        pollfd readable = {file.handle(), POLLIN, 0};
        const qint64 patience = std::min(c_SilenceMilliseconds, end.remainingTime());
        const int ready = ::poll(&readable, 1, static_cast<int>(patience));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready == 0) {
            return Refuse(path, end.hasExpired() ? "not at its end after 30 seconds"
                                                 : "nothing came to be read within 5 seconds");
        }
        const QByteArray piece = file.read(c_PieceBytes);
        if (piece.isEmpty()) {
            return contents;
        }
        contents += piece;
        if (contents.size() > c_MostBytes) {
            return Refuse(path, "larger than 32 MiB, which no file of a unit is");
        }
    }
}

int TestControllerBase::GetFileContents(const QString& path, QByteArray& contents, std::string* output)
{
    const std::optional<QByteArray> read = ReadWholeFile(path);
    if (!read) {
        Message(std::string(m_OutputStrings[OUT_FAILED_TO_OPEN_FILE]), output, true, true);
        Message(u'\n' + path, output, true, true);
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
    QFile file;
    // Unbuffered, because a driver's refusal has to show in the write and not only when the file is closed.
    if (!Open(file, path, O_WRONLY | O_CREAT | O_TRUNC, QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        message = m_OutputStrings[OUT_FAILED_TO_OPEN_FILE];
    } else {
        if (file.write(data) != data.size()) {
            message = m_OutputStrings[OUT_FAILED_TO_WRITE_FILE];
        }
        file.close();
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
