// sonarbench-trace: starts a program so that the library next to it records what the program does on a unit.
// It needs nothing but the C library, because units have little room.

#include "framework/Products.h"
#include "simulator/trace/TraceText.h"
#include "simulator/trace/recorder/Recorder.h"
#include "simulator/unit/UnitPlaces.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <elf.h>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace
{
constexpr char c_Usage[] = "Usage: sonarbench-trace FILE COMMAND [ARGUMENT]...\n"
                           "Runs the command, and records in FILE what it does with the unit's devices and "
                           "files.\n"
                           "sonarbench-sim --replay FILE repeats the run without the unit.\n";
constexpr char c_EmulatorVariable[] = "SONARBENCH_EMULATOR";
constexpr int c_WrongUsage = 2, c_CannotRun = 126, c_NotFound = 127;
/// Far above the descriptors that the program uses.
constexpr int c_TraceDescriptor = 500;

/// A text of a bounded length; longer ones are cut off.
using Text_T = std::array<char, PATH_MAX>;

/// Up to the end of the line.
std::string_view FirstLine(std::string_view text) { return text.substr(0, text.find('\n')); }

/// The contents of a small file; empty if it cannot be read.
std::string_view Contents(const char* path, Text_T& text)
{
    const int file = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const ssize_t count = file < 0 ? 0 : ::read(file, text.data(), text.size());
    ::close(file);
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

/// The name of the product that this unit is, as its identity says.
const char* ProductName()
{
    const bool isVarrow = ::access(UnitPaths::c_VarrowProductId, F_OK) == 0;
    const IdentityFile file = isVarrow ? IdentityFile::Varrow : IdentityFile::Pelion;
    Text_T text{};
    Text_T number{};
    const std::string_view identity =
        Contents(isVarrow ? UnitPaths::c_VarrowProductId : UnitPaths::c_PelionProductId, text);
    Contents(UnitPaths::c_SonarBoardId, number);
    const long reading = std::strtol(number.data(), nullptr, 10);
    for (const Product_T& product : Products()) {
        const bool isNamed = product.identityFile == file && !identity.empty() &&
                             std::ranges::find(product.identities, identity) != product.identities.end();
        const auto& [low, high] = product.board;
        if (isNamed && (high == 0 || (low <= reading && reading < high))) {
            return product.name;
        }
    }
    return Products().front().name;
}

void WriteNode(std::FILE* pFile, const char* name)
{
    Text_T path{};
    Text_T link{};
    Text_T text{};
    struct stat status = {};
    std::snprintf(path.data(), path.size(), "/dev/%s", name);
    if (::stat(path.data(), &status) != 0) {
        return;
    }
    const unsigned numbers[] = {major(status.st_rdev), minor(status.st_rdev)};
    std::snprintf(path.data(), path.size(), "/sys/dev/char/%u:%u/device/driver", numbers[0], numbers[1]);
    const ssize_t count = ::readlink(path.data(), link.data(), link.size() - 1);
    const char* const pSlash = count > 0 ? std::strrchr(link.data(), '/') : nullptr;
    std::snprintf(path.data(), path.size(), "/sys/dev/char/%u:%u/device/driver/module/version", numbers[0],
                  numbers[1]);
    const std::string_view version = FirstLine(Contents(path.data(), text));
    std::fprintf(pFile, "about node %s %u:%u driver %s version %.*s\n", name, numbers[0], numbers[1],
                 pSlash != nullptr ? pSlash + 1 : "-", version.empty() ? 1 : static_cast<int>(version.size()),
                 version.empty() ? "-" : version.data());
}

/// Writes the beginning of a trace; returns where its line begins that says whether it is complete.
long WriteBeginning(std::FILE* pFile, char** words)
{
    const auto put = [&](std::string_view text) { std::fwrite(text.data(), 1, text.size(), pFile); };
    put(TraceWord::c_Header);
    std::fprintf(pFile, "\nunit %s\n", ProductName());
    const long place = std::ftell(pFile);
    put(TraceWord::c_Recordings[0]);
    std::fprintf(pFile, "\nabout recorder sonarbench-trace %s\nabout command", SONARBENCH_VERSION);
    for (char** pWord = words; *pWord != nullptr; ++pWord) {
        put(" ");
        for (const char character : std::string_view(*pWord)) {
            std::fputc(character == '\n' ? '?' : character, pFile);
        }
    }
    const std::time_t now = std::time(nullptr);
    std::array<char, 32> time{};
    tm parts{};
    std::strftime(time.data(), time.size(), "%Y-%m-%dT%H:%M:%SZ", ::gmtime_r(&now, &parts));
    utsname system{};
    ::uname(&system);
    std::fprintf(pFile, "\nabout started %s\nabout kernel %s %s %s %s\n", time.data(), system.sysname,
                 system.release, system.version, system.machine);
    for (const char* const name : {"LSfpga0", "LSfpga1", "ttyO1", "ttyO3"}) {
        WriteNode(pFile, name);
    }
    return place;
}

/// Makes the trace. Returns its descriptor; -1, after a message, if that failed.
int MakeTrace(const char* name, char** words, long& statusPlace)
{
    int trace = -1;
    const int file = ::open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    struct stat status = {};
    if (file >= 0 && ::fstat(file, &status) == 0 && !S_ISREG(status.st_mode)) {
        errno = EINVAL; // its beginning is changed at the end
    } else if (file >= 0) {
        trace = ::fcntl(file, F_DUPFD, c_TraceDescriptor);
        trace = trace >= 0 ? trace : ::dup(file); // the process may not have that many descriptors
    }
    if (trace >= 0) {
        std::FILE* const pFile = ::fdopen(file, "w");
        statusPlace = WriteBeginning(pFile, words);
        if (std::fclose(pFile) == 0) {
            return trace;
        }
        ::close(trace);
    } else if (file >= 0) {
        const int error = errno;
        ::close(file);
        errno = error;
    }
    std::fprintf(stderr, "sonarbench-trace: cannot write the trace %s: %s; the command runs without it\n",
                 name, std::strerror(errno));
    return -1;
}

/// Puts the path of the library into the text: next to this program or, if installed, in the library
/// directory. Returns false if it is missing.
bool FindLibrary(Text_T& path)
{
    Text_T own{};
    if (::readlink("/proc/self/exe", own.data(), own.size() - 1) <= 0) {
        return false;
    }
    *std::strrchr(own.data(), '/') = '\0';
    for (const char* const place : {".", SONARBENCH_LIBRARY_FROM_PROGRAMS}) {
        const int size =
            std::snprintf(path.data(), path.size(), "%s/%s/%s", own.data(), place, c_RecordingLibrary);
        if (size < static_cast<int>(path.size()) && ::access(path.data(), R_OK) == 0) {
            return true;
        }
    }
    return false;
}

/// Makes the library record what this process becomes.
void LoadLibrary(int trace, long statusPlace, const char* program)
{
    constexpr char c_Preload[] = "LD_PRELOAD";
    Text_T path{};
    if (!FindLibrary(path) || std::strpbrk(path.data(), ": ") != nullptr) {
        std::fprintf(stderr,
                     "sonarbench-trace: %s is missing, or blanks or colons are in its path; the "
                     "command runs without a trace\n",
                     c_RecordingLibrary);
        return;
    }
    Text_T settings{};
    const char* const pSlash = std::strrchr(program, '/');
    std::snprintf(settings.data(), settings.size(), "%d %d %ld %s", static_cast<int>(::getpid()), trace,
                  statusPlace, pSlash != nullptr ? pSlash + 1 : program);
    ::setenv(c_RecordingVariable, settings.data(), 1);
    if (const char* const pOthers = std::getenv(c_Preload); pOthers != nullptr) {
        const std::size_t size = std::strlen(path.data());
        std::snprintf(path.data() + size, path.size() - size, ":%s", pOthers);
    }
    ::setenv(c_Preload, path.data(), 1);
}

/// Finds a command as execvp() does. Returns whether it was found.
bool FindCommand(const char* command, Text_T& path)
{
    const char* const pPlaces = std::strchr(command, '/') == nullptr ? std::getenv("PATH") : nullptr;
    std::string_view places = pPlaces != nullptr ? pPlaces : "";
    std::snprintf(path.data(), path.size(), "%s", command);
    while (!places.empty()) {
        const std::string_view place = places.substr(0, places.find(':'));
        places.remove_prefix(std::min(place.size() + 1, places.size()));
        std::snprintf(path.data(), path.size(), "%.*s/%s", static_cast<int>(place.size()), place.data(),
                      command);
        if (::access(path.data(), X_OK) == 0) {
            return true;
        }
    }
    return ::access(path.data(), X_OK) == 0;
}

/// The number of the processor that a program is built for, 0 if it is no program.
int ProcessorOf(const char* path)
{
    Text_T text{};
    Elf32_Ehdr header{}; // the number is at the same place in files of both widths
    const std::string_view head = Contents(path, text).substr(0, sizeof header);
    std::memcpy(&header, head.data(), head.size());
    return header.e_machine;
}

/// Becomes the command; returns only if it could not. A program for an emulated processor gets the words of
/// the emulator in front of it, as sonarbench-sim does it.
void Become(char** words)
{
    static std::array<char*, 1024> s_Words{};
    static std::array<char, 3> s_NameOption{"-0"};
    static Text_T s_Path{};
    static Text_T s_Emulator{};
    const char* const pEmulator = std::getenv(c_EmulatorVariable);
    if (pEmulator == nullptr || !FindCommand(words[0], s_Path) ||
        ProcessorOf(s_Path.data()) != ProcessorOf("/proc/self/exe")) {
        ::execvp(words[0], words);
        return;
    }
    std::size_t count = 0;
    const auto add = [&](char* word) { s_Words[std::min(count++, s_Words.size() - 2)] = word; };
    std::snprintf(s_Emulator.data(), s_Emulator.size(), "%s", pEmulator);
    char* pRest = nullptr;
    for (char* pWord = ::strtok_r(s_Emulator.data(), " ", &pRest); pWord != nullptr;
         pWord = ::strtok_r(nullptr, " ", &pRest)) {
        add(pWord);
    }
    add(s_NameOption.data());
    add(words[0]);
    add(s_Path.data());
    for (++words; *words != nullptr; ++words) {
        add(*words);
    }
    ::execvp(s_Words[0], s_Words.data());
}
} // namespace

int main(int argc, char** argv)
{
    const std::string_view first = argc > 1 ? argv[1] : "";
    if (first == "--help" || first == "--version") {
        std::printf("%s", first == "--help" ? c_Usage : "sonarbench-trace " SONARBENCH_VERSION "\n");
        return std::fflush(stdout) == 0 ? 0 : c_WrongUsage;
    }
    if (argc < 3 || first.starts_with('-')) {
        std::fputs(c_Usage, stderr);
        return c_WrongUsage;
    }
    long statusPlace = 0;
    if (const int trace = MakeTrace(argv[1], argv + 2, statusPlace); trace >= 0) {
        LoadLibrary(trace, statusPlace, argv[2]);
    }
    Become(argv + 2);
    const int error = errno;
    std::fprintf(stderr, "sonarbench-trace: cannot run %s: %s\n", argv[2], std::strerror(error));
    return error == ENOENT ? c_NotFound : c_CannotRun;
}
