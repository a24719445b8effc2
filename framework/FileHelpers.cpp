#include "framework/TestControllerBase.h"

#include <QFile>
#include <QProcess>

#include <algorithm>
#include <limits>
#include <memory>
#include <unistd.h>

namespace
{
constexpr int c_StartTimeoutMilliseconds = 30000;
constexpr unsigned int c_MillisecondsPerSecond = 1000;

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
    // QProcess encodes the command as UTF-8. Decoding it the same way keeps the command's bytes.
    // The command is split here, because QProcess does not take a command without words.
    QStringList words = QProcess::splitCommand(QFile::decodeName(command.toLatin1()));
    const QString program = words.isEmpty() ? QString() : words.takeFirst();
    child->start(program, words, QIODevice::ReadWrite);
    if (!child->waitForStarted(c_StartTimeoutMilliseconds)) {
        Message(std::string(m_OutputStrings[OUT_FILE_NOT_FOUND]) + command.toLatin1().toStdString() + "\n",
                output, false, true);
        if (child->isReadable()) {
            Message(child->readAll().toStdString(), nullptr, true, false);
        }
        return TEST_FAILED;
    }
    if (keepRunning) {
        *process = child.release(); // the caller owns it now
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
