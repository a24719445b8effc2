#include "station/TestRun.h"

#include "station/Command.h"
#include "station/transcript/RunFile.h"

#include <QDateTime>
#include <QSysInfo>

#include <cerrno>
#include <cmath>
#include <system_error>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr std::size_t c_LongestSerialNumber = 4096;

/// The lines of standard error that a run file keeps.
class CErrorLines
{
public:
    void Take(std::string_view bytes)
    {
        for (const char byte : bytes) {
            if (byte == '\n') {
                End();
            } else if (m_Line.size() < c_LongestKeptLine / 4) { // a byte can become four
                m_Line += byte;
            }
            m_IsOpen = byte != '\n';
        }
    }
    std::vector<Line_T> Finish()
    {
        if (m_IsOpen) {
            End();
        }
        if (m_Count > c_MostKeptLines) {
            m_Lines.back().text = std::to_string(m_Count - c_MostKeptLines + 1) + " more lines";
        }
        return std::move(m_Lines);
    }

private:
    void End()
    {
        if (++m_Count <= c_MostKeptLines) {
            m_Lines.push_back({0, HeaderValue(m_Line)});
        }
        m_Line.clear();
    }

    std::vector<Line_T> m_Lines;
    std::uint64_t m_Count = 0;
    Bytes_T m_Line;
    bool m_IsOpen = false;
};

/// Passes bytes on to a standard stream. Returns 0, or the errno of the write that failed.
int Show(int stream, std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto written = ::write(stream, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return 0;
}

/// Compares the unit's own serial number with the one that the station has for it.
/// @return why the test must not begin; empty: they are the same
Bytes_T VerifySerialNumber(const TestOrder_T& order, CErrorLines& errors)
{
    std::string text;
    const CommandEnd_T end =
        RunCommand({"sh", "-c", order.serialCommand}, order.timeout, [&](int stream, std::string_view bytes) {
            if (stream == STDOUT_FILENO) {
                text += bytes.substr(0, c_LongestSerialNumber - text.size());
            } else {
                Show(stream, bytes);
                errors.Take(bytes);
            }
        });
    const std::string_view serialNumber = Trimmed(text);
    if (end.status != 0 || serialNumber.empty()) {
        return "the unit's serial number could not be read";
    }
    return serialNumber == order.unit ? Bytes_T()
                                      : "the unit's serial number is " + HeaderValue(serialNumber) +
                                            ", not " + HeaderValue(order.unit);
}
} // namespace

std::string CHost::Now() const
{
    return QDateTime::currentDateTimeUtc().toString(u"yyyy-MM-dd'T'HH:mm:ss.zzz'+00:00'"_s).toStdString();
}

double CHost::Seconds() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string CHost::Name() const { return QSysInfo::machineHostName().toStdString(); }

TestRun_T RunTest(const TestOrder_T& order, const IHost& host)
{
    Record_T record;
    record.unit = HeaderValue(order.unit);
    record.product = HeaderValue(order.product);
    record.station = HeaderValue(order.station);
    record.operatorName = HeaderValue(order.operatorName);
    record.host = HeaderValue(host.Name());
    record.command = HeaderValue(ShellText(order.command));
    record.start = host.Now();
    CRunFileWriter file(order.directory, record);
    TestRun_T run;
    const auto note = [&run](const Bytes_T& failure) {
        run.failure = run.failure.empty() ? failure : run.failure;
    };
    CErrorLines errors;
    const double start = host.Seconds();
    if (!order.serialCommand.empty()) {
        record.stopped = VerifySerialNumber(order, errors);
        record.isVerified = record.stopped.empty();
    }
    bool isKept = true;
    bool isShown = true;
    if (record.stopped.empty()) {
        const CommandEnd_T end =
            RunCommand(order.command, order.timeout, [&](int stream, std::string_view bytes) {
                const int failure = isShown || stream == STDERR_FILENO ? Show(stream, bytes) : 0;
                if (failure != 0 && stream == STDOUT_FILENO) {
                    isShown = false;
                    note("standard output: " + std::generic_category().message(failure));
                }
                if (stream == STDERR_FILENO) {
                    errors.Take(bytes);
                    return;
                }
                try {
                    isKept ? file.Write(bytes) : void();
                } catch (const std::system_error& error) {
                    isKept = false; // the test goes on: it must not be stopped in the middle
                    note(error.what());
                }
            });
        record.status = end.status;
        if (!end.failure.empty()) {
            Show(STDERR_FILENO, end.failure + "\n");
            errors.Take(end.failure + "\n");
            record.stopped = HeaderValue(end.failure);
        } else if (end.isTimedOut) {
            record.stopped =
                "the command did not end within " + std::to_string(order.timeout.count() / 1000) + " s";
        }
    }
    constexpr double digits = 1000;
    record.seconds = std::round((host.Seconds() - start) * digits) / digits;
    record.errors = errors.Finish();
    run.file = file.PartName();
    if (isKept) {
        try {
            run.file = file.Finish(std::move(record));
        } catch (const std::system_error& error) {
            note(error.what());
        }
    }
    return run;
}
