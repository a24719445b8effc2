#include "simulator/trace/recorder/Recorder.h"

#include "simulator/faults/FaultTable.h"
#include "simulator/trace/recorder/Buffer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <glob.h>
#include <initializer_list>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

namespace
{
using enum FaultOperation_T;
using Kind = DeviceOperation_T::Kind;

constexpr std::size_t c_MostNodes = 8;
constexpr std::size_t c_MostPieces = 64;
constexpr std::size_t c_MostFiles = 16; ///< that are open at a time

/// A piece of what was read of a node.
struct Piece_T {
    std::size_t size;
    RealTimes_T times;
    std::chrono::milliseconds delay; ///< not 0 if the program waited in vain before
};

/// A device node.
struct Node_T {
    std::array<char, 32> text{};
    std::size_t textSize = 0;
    CBuffer read; ///< since the last operation
    std::array<Piece_T, c_MostPieces> pieces{};
    std::size_t pieceCount = 0;
    bool isNewPiece = true;             ///< the last read left nothing to read
    bool hasTimedOut = false;           ///< a wait ended without anything to read
    unsigned readyPoll = 0;             ///< number of the last wait that ended with something to read
    std::chrono::nanoseconds lastEnd{}; ///< of the last operation or read
    CBuffer image;                      ///< since the last operation
    int imageError = 0;

    std::string_view Name() const { return {text.data(), textSize}; }
};

/// A file that the program reads.
struct File_T {
    int descriptor = -1;
    std::array<char, PATH_MAX> text{};
    std::size_t textSize = 0;
    CBuffer contents;
};

constinit std::atomic<pid_t> s_Process{0}; // that is recorded; 0: none
int s_File = -1;
off_t s_StatusPlace = 0;
std::chrono::nanoseconds s_Begin{};
constinit pthread_mutex_t s_Lock = PTHREAD_MUTEX_INITIALIZER;
constinit std::array<std::atomic<unsigned>, c_FaultOperationNames.size()> s_Counts{};
constinit std::array<Node_T, c_MostNodes> s_Nodes{};
constinit std::array<Node_T*, c_MostNodes> s_Sorted{}; // the nodes by name, as a unit passes on unasked bytes
constinit std::size_t s_NodeCount = 0;
constinit Node_T* s_pLast = nullptr; // node of the last operation
constinit std::array<Node_T*, c_FollowedDescriptors> s_NodeOf{};
constinit std::array<File_T, c_MostFiles> s_Files{};
constinit CBuffer s_Line;
constinit CBuffer s_Before; // the bytes of a write or request before it was done

class CGuard
{
public:
    CGuard() { ::pthread_mutex_lock(&s_Lock); }
    CGuard(const CGuard&) = delete;
    CGuard& operator=(const CGuard&) = delete;
    ~CGuard() { ::pthread_mutex_unlock(&s_Lock); }
};

std::chrono::nanoseconds Now()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

/// Stops to record; the trace stays unfinished.
void GiveUp() { s_Process = 0; }

/// Writes to the trace, without the functions that are replaced.
void Emit(const char* pText, const char* pEnd)
{
    while (pText != pEnd && s_Process != 0) {
        const auto count = ::syscall(SYS_write, s_File, pText, static_cast<std::size_t>(pEnd - pText));
        if (count > 0) {
            pText += count;
        } else if (count == 0 || errno != EINTR) {
            GiveUp();
        }
    }
}

template <class Line_T>
void Emit(const Line_T& line)
{
    if (char* const pText = s_Line.Room(RoomFor(line))) {
        Emit(pText, PutLine(pText, line));
    } else {
        GiveUp();
    }
}

void Keep(CBuffer& buffer, const void* pBytes, std::size_t size)
{
    if (!buffer.Append(pBytes, size)) {
        GiveUp();
    }
}

/// Writes a line of these words.
void EmitWords(std::initializer_list<std::string_view> words)
{
    s_Line.Clear();
    for (const std::string_view word : words) {
        Keep(s_Line, word.data(), word.size());
    }
    Keep(s_Line, "\n", 1);
    Emit(s_Line.Text(), s_Line.Text() + s_Line.Size());
}

void EmitFault(FaultOperation_T operation, unsigned number, std::string_view kind)
{
    std::array<char, 16> digits{};
    const char* const pEnd = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    EmitWords({TraceWord::c_Fault,
               NameOf(operation),
               ":",
               {digits.data(), static_cast<std::size_t>(pEnd - digits.data())},
               "=",
               kind});
}

/// Counts an operation. If it failed, the trace gets a fault of that kind. Returns its number.
unsigned Count(FaultOperation_T operation, std::string_view kind)
{
    const unsigned number = ++s_Counts[static_cast<std::size_t>(operation)];
    if (!kind.empty()) {
        EmitFault(operation, number, kind);
    }
    return number;
}

unsigned Count(FaultOperation_T operation, int error)
{
    const char* const pName = error != 0 ? ::strerrorname_np(error) : "";
    return Count(operation, std::string_view(pName != nullptr ? pName : ""));
}

Node_T* NodeOf(int descriptor)
{
    return descriptor >= 0 && descriptor < c_FollowedDescriptors
               ? s_NodeOf[static_cast<std::size_t>(descriptor)]
               : nullptr;
}

std::span<Node_T*> Nodes() { return std::span(s_Sorted).first(s_NodeCount); }

/// The node with this name, made if it is new; null if there is no room for it.
Node_T* NodeNamed(std::string_view name)
{
    const auto place = std::ranges::lower_bound(Nodes(), name, {}, &Node_T::Name);
    if (place != Nodes().end() && (*place)->Name() == name) {
        return *place;
    }
    Node_T& node = s_Nodes[std::min(s_NodeCount, c_MostNodes - 1)];
    if (s_NodeCount == c_MostNodes || name.size() > node.text.size()) {
        GiveUp();
        return nullptr;
    }
    std::ranges::copy(name, node.text.begin());
    node.textSize = name.size();
    std::size_t at = s_NodeCount;
    for (; at > 0 && name < s_Sorted[at - 1]->Name(); --at) {
        s_Sorted[at] = s_Sorted[at - 1];
    }
    s_Sorted[at] = &node;
    ++s_NodeCount;
    return &node;
}

std::string_view NameOfNode(std::string_view path)
{
    constexpr std::string_view c_Devices = "/dev/";
    return path.substr(std::min(c_Devices.size(), path.size()));
}

/// Writes what was read of a node since the last operation.
void EmitRead(Node_T& node, std::string_view direction)
{
    ByteView_T bytes = node.read.Bytes();
    for (const Piece_T& piece : std::span(node.pieces).first(node.pieceCount)) {
        Emit(TraceLine_T{.device = node.Name(),
                         .direction = direction,
                         .bytes = bytes.first(piece.size),
                         .isSent = true,
                         .delay = piece.delay,
                         .times = piece.times});
        bytes = bytes.subspan(piece.size);
        direction = TraceWord::c_More;
    }
    node.read.Clear();
    node.pieceCount = 0;
    node.isNewPiece = true;
}

/// Writes what happened since the last operation: what was read, and what shells wrote.
void EmitSinceOperation()
{
    if (s_pLast != nullptr) {
        EmitRead(*s_pLast, TraceWord::c_Reply);
    }
    for (Node_T* const pNode : Nodes()) {
        EmitRead(*pNode, TraceWord::c_Operations[static_cast<std::size_t>(Kind::Unasked)]);
    }
    for (Node_T* const pNode : Nodes()) {
        Node_T& node = *pNode;
        if (node.image.Size() > 0) {
            Emit(TraceLine_T{.device = node.Name(),
                             .direction = TraceWord::c_Operations[static_cast<std::size_t>(Kind::Image)],
                             .bytes = node.image.Bytes(),
                             .error = node.imageError});
            node.image.Clear();
            node.imageError = 0;
            s_pLast = &node;
        }
    }
}

/// Writes an operation whose bytes were kept, and what it changed in the program's bytes.
void EmitOperation(Node_T& node, TraceLine_T line, const void* pAfter)
{
    EmitSinceOperation();
    line.device = node.Name();
    line.bytes = s_Before.Bytes();
    Emit(line);
    if (line.bytes.size() > 0 && std::memcmp(line.bytes.data(), pAfter, line.bytes.size()) != 0) {
        Emit(TraceLine_T{.device = node.Name(),
                         .direction = TraceWord::c_Fill,
                         .bytes = {static_cast<const std::uint8_t*>(pAfter), line.bytes.size()},
                         .isSent = true});
    }
    s_pLast = &node;
    node.hasTimedOut = false;
    node.lastEnd = line.times->end;
}

File_T* FileOf(int descriptor)
{
    const auto pFile = std::ranges::find(s_Files, descriptor, &File_T::descriptor);
    return pFile == s_Files.end() ? nullptr : &*pFile;
}

/// Writes a file that the program has read, and forgets it.
void EmitFile(File_T& file)
{
    Emit(TraceFileLine_T{FileAccess::Read, {file.text.data(), file.textSize}, 0, file.contents.Bytes()});
    file.contents.Clear();
    file.descriptor = -1;
}

void KeepFile(int descriptor, std::string_view path)
{
    if (File_T* const pOld = FileOf(descriptor)) { // closed in a way that nobody saw
        EmitFile(*pOld);
    }
    if (File_T* const pFile = FileOf(-1)) {
        pFile->descriptor = descriptor;
        std::ranges::copy(path, pFile->text.begin());
        pFile->textSize = path.size();
    } else {
        GiveUp();
    }
}

bool IsOneLine(std::string_view path) { return path.find('\n') == path.npos; }

/// Adds the contents of a file to an image; returns whether it could be read.
bool ReadIntoImage(const char* path, CBuffer& image)
{
    const auto file = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC));
    const std::size_t begin = image.Size();
    std::array<char, 16384> piece{};
    long count = -1;
    while (file >= 0 && (count = ::syscall(SYS_read, file, piece.data(), piece.size())) > 0) {
        Keep(image, piece.data(), static_cast<std::size_t>(count));
    }
    if (file >= 0) {
        ::syscall(SYS_close, file);
    }
    if (count == 0) {
        Emit(TraceFileLine_T{FileAccess::Shell, CPlainPath(path).Text(), 0, image.Bytes().subspan(begin)});
    }
    return count == 0;
}

/// Takes the next word off a command; empty at its end.
std::string_view TakeWord(std::string_view& text)
{
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(word.size());
    return word;
}

/// What cat writes of the files that a pattern names; returns whether it could read all of them.
bool ReadPattern(std::string_view pattern, CBuffer& image)
{
    std::array<char, PATH_MAX> text{};
    if (pattern.size() >= text.size()) {
        return false;
    }
    std::ranges::copy(pattern, text.begin());
    glob_t found{};
    bool isWhole = ::glob(text.data(), GLOB_NOCHECK, nullptr, &found) == 0;
    for (std::size_t at = 0; isWhole && at < found.gl_pathc; ++at) {
        isWhole = ReadIntoImage(found.gl_pathv[at], image);
    }
    ::globfree(&found);
    return isWhole;
}

/// Writes a line that says what the recording lacks.
void EmitLack(std::string_view what) { EmitWords({TraceWord::c_About, TraceWord::c_Lacks, what}); }

void Finish()
{
    if (!IsCounting()) {
        return;
    }
    const CGuard guard;
    EmitSinceOperation();
    for (File_T& file : s_Files) {
        if (file.descriptor >= 0) {
            EmitFile(file);
        }
    }
    if (s_Process != 0) {
        // The place is on the disk already, so that even a full one does not refuse this.
        const std::string_view complete = TraceWord::c_Recordings[1];
        std::ignore = ::pwrite(s_File, complete.data(), complete.size(), s_StatusPlace);
    }
    GiveUp();
}

/// Gives the variable the value that it had without this library.
void RemoveFromPreload()
{
    constexpr char c_Preload[] = "LD_PRELOAD";
    static std::array<char, std::size_t{2} * PATH_MAX> s_Others{};
    const char* const pPreload = std::getenv(c_Preload);
    const std::string_view list = pPreload != nullptr ? pPreload : "";
    const std::size_t name = list.find(c_RecordingLibrary);
    if (name == list.npos || list.size() >= s_Others.size()) {
        return;
    }
    const std::size_t begin = list.rfind(':', name) + 1; // 0: no colon before it
    const std::size_t end = std::min(list.find(':', name) + 1, list.size() + 1);
    const std::string_view after = end == 0 ? "" : list.substr(std::min(end, list.size()));
    std::size_t size = begin - (begin > 0 && after.empty() ? 1 : 0);
    std::ranges::copy(list.substr(0, size), s_Others.begin());
    std::ranges::copy(after, s_Others.begin() + static_cast<std::ptrdiff_t>(size));
    size += after.size();
    if (size == 0) {
        ::unsetenv(c_Preload);
    } else {
        ::setenv(c_Preload, s_Others.data(), 1);
    }
}

long TakeNumber(const char*& pText)
{
    char* pEnd = nullptr;
    const long number = std::strtol(pText, &pEnd, 10);
    pText = pEnd;
    return number;
}
} // namespace

bool IsCounting() { return s_Process != 0 && s_Process == ::getpid(); }

void BeginRecording(int count, char** arguments)
{
    const char* pSettings = std::getenv(c_RecordingVariable);
    if (pSettings == nullptr) {
        return;
    }
    const long process = TakeNumber(pSettings);
    s_File = static_cast<int>(TakeNumber(pSettings));
    s_StatusPlace = static_cast<off_t>(TakeNumber(pSettings));
    if (process != ::getpid() || std::string_view(program_invocation_short_name) != pSettings + 1) {
        return;
    }
    ::fcntl(s_File, F_SETFD, FD_CLOEXEC);
    RemoveFromPreload();
    ::unsetenv(c_RecordingVariable);
    RememberArguments(count, arguments);
    s_Begin = Now();
    s_Process = ::getpid();
}

CRecordedCall::CRecordedCall() : m_Times{Now() - s_Begin, {}}, m_Errno(errno) {}

CRecordedCall::~CRecordedCall() { errno = m_Errno; }

void CRecordedCall::End(bool hasFailed)
{
    m_Failure = hasFailed ? errno : 0;
    m_Errno = errno;
    m_Times.end = Now() - s_Begin;
}

void RecordOpen(const CPlainPath& path, CallTarget_T target, int flags, int descriptor,
                const CRecordedCall& call)
{
    const CGuard guard;
    SetTarget(descriptor, target);
    if (target == CallTarget_T::Device) {
        Count(Open, call.Error());
        if (descriptor >= 0 && descriptor < c_FollowedDescriptors) {
            s_NodeOf[static_cast<std::size_t>(descriptor)] = NodeNamed(NameOfNode(path.Text()));
        }
    } else if (!IsOneLine(path.Text())) {
        EmitLack("a file whose name has several lines");
    } else if (call.Error() != 0) {
        Emit(TraceFileLine_T{FileAccess::Failed, path.Text(), call.Error()});
    } else if ((flags & O_ACCMODE) == O_RDONLY) {
        KeepFile(descriptor, path.Text());
    } else {
        Emit(TraceFileLine_T{FileAccess::Write, path.Text()});
    }
}

void RecordAccess(const CPlainPath& path, const CRecordedCall& call)
{
    const CGuard guard;
    if (IsOneLine(path.Text())) {
        const FileAccess access = call.Error() == 0 ? FileAccess::Found : FileAccess::Failed;
        Emit(TraceFileLine_T{access, path.Text(), call.Error()});
    }
}

void RecordRead(int descriptor, const void* pBytes, std::size_t wanted, ssize_t count,
                const CRecordedCall& call)
{
    const CGuard guard;
    const auto size = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    if (File_T* const pFile = FileOf(descriptor)) {
        Count(FileRead, call.Error());
        Keep(pFile->contents, pBytes, size);
        return;
    }
    Node_T* const pNode = NodeOf(descriptor);
    if (pNode == nullptr) {
        return;
    }
    Node_T& node = *pNode;
    if (count == 0 && wanted > 0) {
        Count(Read, NameOf(CallKind_T::Zero));
    } else {
        Count(Read, call.Error());
    }
    if (size == 0) {
        if (node.readyPoll != 0) { // for nothing that a replay could let it read
            EmitFault(Poll, node.readyPoll, NameOf(CallKind_T::Lying));
            node.readyPoll = 0;
        }
        return;
    }
    node.readyPoll = 0;
    Keep(node.read, pBytes, size);
    const RealTimes_T times = call.Times();
    if (node.isNewPiece && node.pieceCount < c_MostPieces) {
        const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(times.begin - node.lastEnd);
        node.pieces[node.pieceCount] = {0, times, node.hasTimedOut ? waited : std::chrono::milliseconds(0)};
        ++node.pieceCount;
    }
    Piece_T& piece = node.pieces[node.pieceCount - 1];
    piece.size += size;
    piece.times.end = times.end;
    node.isNewPiece = size < wanted;
    node.hasTimedOut = false;
    node.lastEnd = times.end;
}

void KeepBytes(const void* pBytes, std::size_t size)
{
    const CGuard guard;
    s_Before.Clear();
    Keep(s_Before, pBytes, size);
}

void RecordWrite(int descriptor, const void* pBytes, std::size_t size, ssize_t count,
                 const CRecordedCall& call)
{
    const CGuard guard;
    Node_T* const pNode = NodeOf(descriptor);
    if (pNode == nullptr) {
        Count(FileWrite, call.Error());
        return;
    }
    TraceLine_T line{.direction = TraceWord::c_Operations[static_cast<std::size_t>(Kind::Write)],
                     .error = call.Error(),
                     .times = call.Times()};
    if (count >= 0 && static_cast<std::size_t>(count) != size) {
        line.taken = static_cast<std::size_t>(count);
    }
    EmitOperation(*pNode, line, pBytes);
}

std::size_t ArgumentSize(unsigned long request, const void* pArgument)
{
    // Points to five numbers, although the request's number says one.
    constexpr std::uint32_t c_StartPingRead = 0x80047205;
    constexpr std::size_t c_DescriptorSize = 20;
    const auto number = static_cast<std::uint32_t>(request);
    if (pArgument == nullptr) {
        return 0;
    }
    return number == c_StartPingRead ? c_DescriptorSize : _IOC_SIZE(number);
}

void RecordRequest(int descriptor, unsigned long request, const void* pArgument, int result,
                   const CRecordedCall& call)
{
    const CGuard guard;
    Node_T* const pNode = NodeOf(descriptor);
    if (pNode == nullptr) {
        return;
    }
    TraceLine_T line{.direction = TraceWord::c_Operations[static_cast<std::size_t>(Kind::Ioctl)],
                     .request = static_cast<std::uint32_t>(request),
                     .error = call.Error(),
                     .times = call.Times()};
    if (result > 0) {
        line.taken = static_cast<std::size_t>(result);
    }
    EmitOperation(*pNode, line, pArgument);
}

void RecordPoll(std::span<const pollfd> entries, int ready, const CRecordedCall& call)
{
    const CGuard guard;
    bool isDevice = false;
    for (const pollfd& entry : entries) {
        if (Node_T* const pNode = NodeOf(entry.fd)) {
            isDevice = true;
            pNode->hasTimedOut = pNode->hasTimedOut || ready == 0;
        }
    }
    if (!isDevice) {
        return;
    }
    const unsigned number = Count(Poll, call.Error());
    for (const pollfd& entry : entries) {
        if (Node_T* const pNode = NodeOf(entry.fd); pNode != nullptr && ready > 0 && entry.revents != 0) {
            pNode->readyPoll = number;
        }
    }
}

void RecordTcSetAttr(const CRecordedCall& call)
{
    const CGuard guard;
    Count(TcSetAttr, call.Error());
}

void RecordClose(int descriptor, CallTarget_T target, const CRecordedCall& call)
{
    const CGuard guard;
    if (File_T* const pFile = FileOf(descriptor)) {
        EmitFile(*pFile);
    }
    Count(target == CallTarget_T::Device ? Close : FileClose, call.Error());
    SetTarget(descriptor, CallTarget_T::None);
    s_NodeOf[static_cast<std::size_t>(descriptor)] =
        nullptr; // a followed descriptor, because it has a target
}

void RecordShell(const char* command, int status, const CRecordedCall& call)
{
    const CGuard guard;
    std::string_view rest = command;
    const std::size_t arrow = std::min(rest.find(" > "), rest.size());
    std::string_view words = rest.substr(0, arrow);
    rest.remove_prefix(std::min(arrow + 3, rest.size()));
    const std::string_view target = TakeWord(rest);
    if (TargetOf(CPlainPath(target)) != CallTarget_T::Device) {
        return;
    }
    const std::string_view tool = TakeWord(words);
    Node_T* const pNode = NodeNamed(NameOfNode(target));
    // 1 is a tool's failure. Otherwise there was none: the shell could not open the node, or was not started.
    constexpr int c_ToolFailed = 1;
    const bool hasRun = call.Error() == 0 && WIFEXITED(status) && WEXITSTATUS(status) <= c_ToolFailed;
    if (pNode == nullptr || !hasRun) {
        return;
    }
    bool isWhole = true;
    if (tool == "echo") {
        words.remove_prefix(std::min(words.find_first_not_of(' '), words.size()));
        Keep(pNode->image, words.data(), words.size());
        Keep(pNode->image, "\n", 1);
    } else if (tool == "cat") {
        for (std::string_view pattern = TakeWord(words); !pattern.empty(); pattern = TakeWord(words)) {
            isWhole = ReadPattern(pattern, pNode->image) && isWhole;
        }
    } else {
        EmitLack(command);
    }
    if (isWhole && WEXITSTATUS(status) == c_ToolFailed) {
        pNode->imageError = EIO;
    }
}

// After what the program itself does at its end.
__attribute__((destructor)) void EndRecording() { Finish(); }
