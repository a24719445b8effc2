// Loaded into the simulator, it logs each change of the environment with the number of threads that live, and
// what threads other than the first read of it.

#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <unistd.h>

namespace
{
template <class Function_T>
Function_T Next(Function_T, const char* name)
{
    return reinterpret_cast<Function_T>(::dlsym(RTLD_NEXT, name));
}

void Log(const std::string& line)
{
    const char* const pFile = Next(::getenv, "getenv")("SONARBENCH_PROBE_LOG");
    // What the simulator starts is loaded with this library as well.
    if (pFile == nullptr || std::strcmp(program_invocation_short_name, "sonarbench-sim") != 0) {
        return;
    }
    if (FILE* const pLog = std::fopen(pFile, "ae")) {
        std::fprintf(pLog, "%s\n", line.c_str());
        std::fclose(pLog);
    }
}

/// Lets the other threads read what they would read about now, so that it is logged before the change.
void LogChange(const char* function, const char* variable)
{
    const auto count = std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
    if (count > 1) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    Log("change " + std::to_string(count) + " " + function + " " + variable);
}

void LogRead(const char* what)
{
    if (::gettid() != ::getpid()) {
        Log(std::string("read ") + what);
    }
}

/// A translation reads the user's languages, but for the locale C.
void LogTranslation(const char* text)
{
    if (std::strcmp(std::setlocale(LC_MESSAGES, nullptr), "C") != 0) {
        LogRead(text);
    }
}
} // namespace

extern "C" {
int setenv(const char* name, const char* value, int isReplaced) noexcept
{
    LogChange("setenv", name);
    return Next(::setenv, "setenv")(name, value, isReplaced);
}

int unsetenv(const char* name) noexcept
{
    LogChange("unsetenv", name);
    return Next(::unsetenv, "unsetenv")(name);
}

int putenv(char* variable) noexcept
{
    LogChange("putenv", variable);
    return Next(::putenv, "putenv")(variable);
}

int clearenv() noexcept
{
    LogChange("clearenv", "");
    return Next(::clearenv, "clearenv")();
}

char* getenv(const char* name) noexcept
{
    LogRead(name);
    return Next(::getenv, "getenv")(name);
}

char* dcgettext(const char* domain, const char* text, int category) noexcept
{
    LogTranslation(text);
    return Next(::dcgettext, "dcgettext")(domain, text, category);
}
}
