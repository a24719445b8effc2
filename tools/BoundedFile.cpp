#include "tools/BoundedFile.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace
{
namespace fs = std::filesystem;
using Clock_T = std::chrono::steady_clock;
using Milliseconds_T = std::chrono::milliseconds;

constexpr std::size_t c_MebiByte = std::size_t{1} << 20;
constexpr std::size_t c_PieceBytes = std::size_t{64} * 1024;
constexpr Milliseconds_T c_LongestSilence(5000);
constexpr Milliseconds_T c_LongestTime(30000);

[[noreturn]] void Refuse(const fs::path& file, const std::string& why)
{
    throw std::runtime_error(file.string() + ": " + why);
}
} // namespace

std::string ReadBounded(const fs::path& file, std::size_t mostBytes)
{
    const CDescriptor source(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (source.Get() < 0) {
        Refuse(file, std::strerror(errno));
    }
    std::string contents;
    const auto end = Clock_T::now() + c_LongestTime;
    for (;;) {
        const auto left = std::chrono::ceil<Milliseconds_T>(end - Clock_T::now());
        const auto patience = std::clamp(left, Milliseconds_T(0), c_LongestSilence);
        pollfd readable = {source.Get(), POLLIN, 0};
        if (::poll(&readable, 1, static_cast<int>(patience.count())) == 0) {
            Refuse(file,
                   Clock_T::now() >= end ? "no end of file within 30 seconds" : "no data within 5 seconds");
        }
        const std::size_t size = contents.size();
        contents.resize(size + c_PieceBytes);
        const auto count = ::read(source.Get(), contents.data() + size, c_PieceBytes);
        contents.resize(size + static_cast<std::size_t>(std::max<decltype(count)>(count, 0)));
        if (count == 0) {
            return contents;
        }
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            Refuse(file, std::strerror(errno));
        }
        if (contents.size() > mostBytes) {
            Refuse(file, "larger than " + std::to_string(mostBytes / c_MebiByte) + " MiB");
        }
    }
}

CDescriptor OpenPipeToWrite(const fs::path& pipe)
{
    constexpr Milliseconds_T c_BetweenTrials(20);
    const auto end = Clock_T::now() + c_LongestSilence;
    for (;;) {
        CDescriptor target(::open(pipe.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
        if (target.Get() >= 0) {
            return target;
        }
        if (errno != ENXIO || Clock_T::now() >= end) {
            throw std::system_error(errno, std::generic_category(), pipe.string());
        }
        std::this_thread::sleep_for(c_BetweenTrials);
    }
}
