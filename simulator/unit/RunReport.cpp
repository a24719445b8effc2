#include "simulator/unit/RunReport.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace
{
namespace fs = std::filesystem;

constexpr char c_Reader[] = "sonarbench-station";
/// sonarbench-station has failed if it exits with this status or above, except with the one for runs that it
/// cannot judge.
constexpr int c_ReaderFailed = 2;
constexpr int c_NotJudged = 3;

[[noreturn]] void Refuse(int failure)
{
    throw std::system_error(failure, std::generic_category(), "cannot copy the output");
}

void Check(int result)
{
    if (result < 0) {
        Refuse(errno);
    }
}

/// Writes the bytes; returns 0, or the errno of the write that failed.
int WriteAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<decltype(written)>(written, 0)));
    }
    return 0;
}

/// A number in the reader's form, in every locale.
std::string NumberText(double number)
{
    std::array<char, 32> text; // enough for the shortest form of every number
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}
} // namespace

CStreamCopy::CStreamCopy(int stream, const fs::path& copy)
    : m_Stream(stream), m_Copy(::open(copy.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)),
      m_Read(-1), m_Standard(::fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1))
{
    std::array<int, 2> ends{};
    Check(m_Copy);
    Check(m_Standard);
    Check(::pipe2(ends.data(), O_CLOEXEC));
    m_Read = ends[0];
    Check(::fcntl(m_Read, F_SETFL, O_NONBLOCK));
    Check(::dup2(ends[1], stream));
    ::close(ends[1]);
    // The unit must be removed even if nobody reads the output any more.
    sigset_t brokenPipe;
    ::sigemptyset(&brokenPipe);
    ::sigaddset(&brokenPipe, SIGPIPE);
    ::sigprocmask(SIG_BLOCK, &brokenPipe, nullptr);
}

CStreamCopy::~CStreamCopy()
{
    Finish();
    for (const int descriptor : {m_Copy, m_Read, m_Standard}) {
        ::close(descriptor);
    }
}

int CStreamCopy::Finish()
{
    ::dup2(m_Standard, m_Stream);
    Drain();
    return m_Failure;
}

void CStreamCopy::Drain()
{
    std::array<char, 65536> buffer;
    for (;;) {
        const auto count = ::read(m_Read, buffer.data(), buffer.size());
        if (count <= 0) {
            return;
        }
        const std::string_view bytes(buffer.data(), static_cast<std::size_t>(count));
        if (WriteAll(m_Standard, bytes) == EPIPE) {
            Break();
        }
        if (const int failure = WriteAll(m_Copy, bytes); failure != 0) {
            m_Failure = failure;
        }
    }
}

void CStreamCopy::Break()
{
    // The program's writes fail once nobody can read the pipe. RunCommand() still polls this descriptor, so
    // it becomes one that never has input.
    const int silent = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (silent < 0) {
        m_Failure = errno;
        return;
    }
    if (::dup3(silent, m_Read, O_CLOEXEC) < 0) {
        m_Failure = errno;
    }
    ::close(silent);
}

CTranscript::CTranscript(const fs::path& file)
    : m_File(file), m_ErrorFile(file.string() + "-errors"), m_Output(std::in_place, STDOUT_FILENO, m_File),
      m_Errors(std::in_place, STDERR_FILENO, m_ErrorFile)
{
}

void CTranscript::Drain()
{
    m_Output->Drain();
    m_Errors->Drain();
}

void CTranscript::Finish()
{
    for (std::optional<CStreamCopy>* const pCopy : {&m_Errors, &m_Output}) {
        m_Failure = std::max(m_Failure, (*pCopy)->Finish());
        pCopy->reset();
    }
    std::ifstream errors(m_ErrorFile, std::ios::binary);
    std::ofstream whole(m_File, std::ios::binary | std::ios::app);
    if (errors.peek() != std::ifstream::traits_type::eof()) {
        whole << errors.rdbuf();
    }
    if (!whole.flush()) {
        m_Failure = std::max(m_Failure, EIO);
    }
}

const fs::path& CTranscript::File() const
{
    if (m_Failure != 0) {
        Refuse(m_Failure);
    }
    return m_File;
}

void WriteRunReport(const fs::path& page, const CTranscript& transcript, double sampleInterval,
                    const CSignals& signals)
{
    const fs::path& file = transcript.File();
    // The page shows the transcript's name as it is given here.
    std::vector<std::string> command = {"env", "-C", file.parent_path()};
    const fs::path reader = HelperFile(c_Reader);
    std::ranges::copy(EmulatorOf(reader), std::back_inserter(command));
    command.insert(command.end(), {reader, "report", "--html", fs::absolute(page)});
    if (sampleInterval > 0) {
        command.insert(command.end(), {"--sample-clock", NumberText(1 / sampleInterval)});
    }
    command.insert(command.end(), {"--", file.filename()});
    const int status = RunCommand(command, signals, {});
    if (status >= c_ReaderFailed && status != c_NotJudged) {
        throw std::runtime_error(std::string(c_Reader) + " could not make the report " + page.string());
    }
}
