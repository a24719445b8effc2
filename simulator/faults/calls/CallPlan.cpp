#include "simulator/faults/calls/CallPlan.h"

#include "simulator/ValueText.h"
#include "simulator/faults/calls/CallFiles.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace
{
constexpr std::string_view c_Program = "sonarbench";
/// Far above the descriptors that the program uses.
constexpr int c_LogDescriptor = 500;
constexpr int c_NoPlan = 3;

constinit std::atomic<pid_t> s_Process{0}; // that is counted; 0: none
constinit std::array<std::atomic<unsigned>, c_FaultOperationNames.size()> s_Counts{};
constinit std::string_view s_Plan; // the file, mapped
constinit bool s_HasFiles = false;
constinit std::array<std::atomic<bool>, c_MostRecordedFiles> s_UsedFiles{}; // by number
int s_Log = -1;

/// One line of the plan.
struct Line_T {
    std::string_view operation, number, kind, value, specification;
};

std::string_view TakeUpTo(char separator, std::string_view& text)
{
    const std::size_t size = std::min(text.find(separator), text.size());
    const std::string_view taken(text.data(), size);
    text.remove_prefix(std::min(size + 1, text.size()));
    return taken;
}

Line_T TakeLine(std::string_view& plan)
{
    std::string_view text = TakeUpTo('\n', plan);
    Line_T line;
    for (std::string_view* const pWord : {&line.operation, &line.number, &line.kind, &line.value}) {
        *pWord = TakeUpTo(' ', text);
    }
    line.specification = text;
    return line;
}

[[noreturn]] void GiveUp(const char* what)
{
    ::dprintf(STDERR_FILENO, "libsonarbench-sim-calls: cannot use %s\n", what);
    ::_exit(c_NoPlan);
}

/// Opens a file without the functions that are counted.
int OpenFile(const char* name, int flags)
{
    const auto descriptor = ::syscall(SYS_openat, AT_FDCWD, name, flags | O_CLOEXEC);
    if (descriptor < 0) {
        GiveUp(name);
    }
    return static_cast<int>(descriptor);
}

std::string_view MapFile(const char* name)
{
    const int file = OpenFile(name, O_RDONLY);
    const off_t size = ::lseek(file, 0, SEEK_END);
    if (size < 0) {
        GiveUp(name);
    }
    const auto bytes = static_cast<std::size_t>(size);
    void* const pText = bytes > 0 ? ::mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, file, 0) : nullptr;
    if (pText == MAP_FAILED) {
        GiveUp(name);
    }
    ::syscall(SYS_close, file);
    return {static_cast<const char*>(pText), bytes};
}

/// Writes a line with one call, so that lines of threads do not mix.
void Log(std::string_view operation, unsigned number, std::string_view specification,
         std::string_view path = {})
{
    std::array<char, 16> digits{};
    const char* const pEnd = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    const std::string_view pieces[] = {operation,
                                       " ",
                                       {digits.data(), static_cast<std::size_t>(pEnd - digits.data())},
                                       specification.empty() ? "" : " ",
                                       specification,
                                       path.empty() ? "" : " of ",
                                       path,
                                       "\n"};
    std::array<iovec, std::size(pieces)> vector{};
    std::ranges::transform(pieces, vector.begin(), [](std::string_view piece) {
        return iovec{const_cast<char*>(piece.data()), piece.size()}; // writing does not change them
    });
    if (::syscall(SYS_writev, s_Log, vector.data(), vector.size()) < 0) {
        GiveUp("its log"); // counts would be wrong otherwise
    }
}
} // namespace

void BeginCounting()
{
    const char* const pPlan = std::getenv(c_CallPlanVariable);
    const char* const pLog = std::getenv(c_CallLogVariable);
    if (program_invocation_short_name != c_Program || pPlan == nullptr || pLog == nullptr) {
        return;
    }
    s_Plan = MapFile(pPlan);
    const int log = OpenFile(pLog, O_WRONLY | O_APPEND);
    s_Log = ::fcntl(log, F_DUPFD_CLOEXEC, c_LogDescriptor);
    if (s_Log < 0) {
        s_Log = log; // the process may not have that many descriptors
    } else {
        ::syscall(SYS_close, log);
    }
    std::string_view first = s_Plan;
    s_HasFiles = TakeLine(first).operation == c_PlannedFile; // such lines come first
    s_Process = ::getpid();
}

bool HasRecordedFiles() { return s_HasFiles && IsCounting(); }

std::optional<RecordedUse_T> TakeRecordedUse(std::string_view path, std::initializer_list<FileAccess> uses,
                                             std::string_view call)
{
    for (std::string_view plan = s_Plan; !plan.empty();) {
        const Line_T line = TakeLine(plan);
        const auto number = NumberIn<unsigned>(line.number);
        if (line.operation != c_PlannedFile || line.specification != path || !number ||
            *number >= s_UsedFiles.size() || s_UsedFiles[*number].exchange(true)) {
            continue;
        }
        const auto access = static_cast<FileAccess>(std::ranges::find(TraceWord::c_FileAccesses, line.kind) -
                                                    TraceWord::c_FileAccesses.begin());
        if (access == FileAccess::Failed || std::ranges::find(uses, access) != uses.end()) {
            return RecordedUse_T{*number, access, NumberIn<int>(line.value).value_or(0)};
        }
        break;
    }
    Log(c_LogLack, 0, call, path);
    return std::nullopt;
}

bool IsCounting() { return s_Process != 0 && s_Process == ::getpid(); }

CallEffect_T CountCall(FaultOperation_T operation)
{
    const int errorBefore = errno;
    const unsigned count = ++s_Counts[static_cast<std::size_t>(operation)];
    Log(NameOf(operation), count, {});
    CallEffect_T effect;
    for (std::string_view plan = s_Plan; !plan.empty();) {
        const Line_T line = TakeLine(plan);
        const auto number = NumberIn<unsigned>(line.number);
        if (!number) {
            GiveUp("its plan");
        }
        const bool lasts = line.kind == NameOf(CallKind_T::Gone) && *number < count;
        if (line.operation != NameOf(operation) || (*number != 0 && *number != count && !lasts)) {
            continue;
        }
        Log(line.operation, count, line.specification);
        const auto kind = std::ranges::find(c_CallKindNames, line.kind) - c_CallKindNames.begin();
        if (kind == static_cast<int>(CallKind_T::Errno)) {
            effect.error = NumberIn<int>(line.value).value_or(0);
        }
        effect.kinds |= 1U << kind;
    }
    errno = errorBefore;
    return effect;
}
