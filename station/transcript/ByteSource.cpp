#include "station/transcript/ByteSource.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

namespace
{
constexpr std::size_t c_PackedSize = std::size_t{128} * 1024;
constexpr std::chrono::milliseconds c_Pause(100);

volatile std::sig_atomic_t s_IsStopped = 0;

/// The first SIGINT or SIGTERM ends the reading, a second one the program.
void StopOnSignals()
{
    struct sigaction action = {};
    action.sa_handler = [](int) { s_IsStopped = 1; };
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGINT, SIGTERM}) {
        ::sigaction(number, &action, nullptr);
    }
}
} // namespace

std::size_t CTextSource::Read(std::span<char> room)
{
    const std::size_t size = m_Text.copy(room.data(), room.size());
    m_Text.remove_prefix(size);
    return size;
}

CFileSource::CFileSource(int descriptor, bool isFollowed) : m_Descriptor(descriptor)
{
    struct stat file = {};
    m_IsRegular = ::fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode);
    m_IsFollowed = isFollowed && m_IsRegular;
    if (isFollowed) {
        StopOnSignals();
    }
}

/// Files that a system makes when they are read have the size 0.
std::optional<std::uint64_t> CFileSource::Size() const
{
    struct stat file = {};
    return m_IsRegular && !m_IsFollowed && ::fstat(m_Descriptor, &file) == 0 && file.st_size > 0
               ? std::optional(static_cast<std::uint64_t>(file.st_size))
               : std::nullopt;
}

/// Waits until bytes can be read from something that is not a file.
void CFileSource::WaitForFirst()
{
    pollfd wanted = {m_Descriptor, POLLIN, 0};
    const bool isIdle = ::poll(&wanted, 1, static_cast<int>(c_Pause.count())) == 0;
    if (isIdle || Clock_T::now() - m_Called >= c_Pause) {
        m_Call(isIdle);
        m_Called = Clock_T::now();
    }
    if (isIdle) {
        ::poll(&wanted, 1, -1);
    }
}

/// Waits a moment at the end of a file. False when it does not grow any more.
bool CFileSource::WaitForMore()
{
    if (m_Call) {
        m_Call(Clock_T::now() - m_Called >= c_Pause);
    }
    struct stat file = {};
    if (::fstat(m_Descriptor, &file) == 0 && file.st_size < ::lseek(m_Descriptor, 0, SEEK_CUR)) {
        m_Failure = "it was cut while it was read";
        return false;
    }
    ::poll(nullptr, 0, static_cast<int>(c_Pause.count() / 2));
    return s_IsStopped == 0;
}

std::size_t CFileSource::Read(std::span<char> room)
{
    for (;;) {
        if (m_Call && !m_IsRegular) {
            WaitForFirst();
        }
        const ssize_t got = s_IsStopped == 0 ? ::read(m_Descriptor, room.data(), room.size()) : 0;
        if (got > 0) {
            m_Called = m_IsFollowed ? Clock_T::now() : m_Called;
            return static_cast<std::size_t>(got);
        }
        if (got < 0 && errno != EINTR) {
            m_Failure = std::strerror(errno);
            return 0;
        }
        if (got == 0 && !(m_IsFollowed && WaitForMore())) {
            return 0;
        }
    }
}

class CExpandedSource::IMethod
{
public:
    virtual ~IMethod() = default;

    /// What a step did with bytes.
    struct Step_T {
        std::size_t taken = 0;
        std::size_t made = 0;
        bool isEnd = false; ///< of a compressed file; another one may follow
        const char* failure = nullptr;
    };
    virtual Step_T Expand(std::span<const char> packed, std::span<char> room) = 0;

    bool IsAtEnd() const { return m_IsAtEnd; }
    void SetAtEnd(bool isAtEnd) { m_IsAtEnd = isAtEnd; }

private:
    bool m_IsAtEnd = false;
};

namespace
{
class CGzip : public CExpandedSource::IMethod
{
public:
    CGzip()
    {
        constexpr int gzipOnly = 16 + MAX_WBITS;
        m_IsReady = ::inflateInit2(&m_Stream, gzipOnly) == Z_OK;
    }
    ~CGzip() override { ::inflateEnd(&m_Stream); }

    Step_T Expand(std::span<const char> packed, std::span<char> room) override
    {
        // The library does not change it.
        m_Stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
        m_Stream.avail_in = static_cast<uInt>(packed.size());
        m_Stream.next_out = reinterpret_cast<Bytef*>(room.data());
        m_Stream.avail_out = static_cast<uInt>(room.size());
        const int result = m_IsReady ? ::inflate(&m_Stream, Z_NO_FLUSH) : Z_MEM_ERROR;
        const bool isEnd = result == Z_STREAM_END;
        const Step_T step = {packed.size() - m_Stream.avail_in, room.size() - m_Stream.avail_out, isEnd,
                             isEnd || result == Z_OK || result == Z_BUF_ERROR ? nullptr : ::zError(result)};
        if (isEnd) {
            ::inflateReset(&m_Stream);
        }
        return step;
    }

private:
    z_stream m_Stream = {};
    bool m_IsReady;
};

class CZstd : public CExpandedSource::IMethod
{
public:
    CZstd() : m_pContext(::ZSTD_createDCtx())
    {
        constexpr int largestWindow = 23; // 8 MiB
        ::ZSTD_DCtx_setParameter(m_pContext, ZSTD_d_windowLogMax, largestWindow);
    }
    ~CZstd() override { ::ZSTD_freeDCtx(m_pContext); }

    Step_T Expand(std::span<const char> packed, std::span<char> room) override
    {
        ZSTD_inBuffer in = {packed.data(), packed.size(), 0};
        ZSTD_outBuffer out = {room.data(), room.size(), 0};
        const std::size_t result = ::ZSTD_decompressStream(m_pContext, &out, &in);
        const bool isBad = ::ZSTD_isError(result) != 0;
        return {in.pos, out.pos, result == 0, isBad ? ::ZSTD_getErrorName(result) : nullptr};
    }

private:
    ZSTD_DCtx* m_pContext;
};

struct Magic_T {
    std::string_view bytes;
    std::unique_ptr<CExpandedSource::IMethod> (*make)();
};
constexpr Magic_T c_Magics[] = {
    {"\x1f\x8b\x08", []() -> std::unique_ptr<CExpandedSource::IMethod> { return std::make_unique<CGzip>(); }},
    {"\x28\xb5\x2f\xfd",
     []() -> std::unique_ptr<CExpandedSource::IMethod> { return std::make_unique<CZstd>(); }}};
constexpr std::size_t c_LongestMagic = 4;
} // namespace

CExpandedSource::CExpandedSource(IByteSource& packed) : m_Packed(packed) {}

CExpandedSource::~CExpandedSource() = default;

/// Appends to what was not used yet.
std::size_t CExpandedSource::ReadPacked()
{
    std::ranges::copy(m_Rest, m_Chunk.begin());
    const std::size_t kept = m_Rest.size();
    const std::size_t got = m_Packed.Read(std::span(m_Chunk).subspan(kept));
    m_Rest = std::span<const char>(m_Chunk).first(kept + got);
    m_Failure = m_Packed.Failure();
    return got;
}

std::size_t CExpandedSource::ReadPlain(std::span<char> room)
{
    if (m_Rest.empty()) {
        const std::size_t got = m_Packed.Read(room);
        m_Failure = m_Packed.Failure();
        return got;
    }
    const std::size_t size = std::min(room.size(), m_Rest.size());
    std::ranges::copy(m_Rest.first(size), room.begin());
    m_Rest = m_Rest.subspan(size);
    return size;
}

std::size_t CExpandedSource::Read(std::span<char> room)
{
    if (!m_IsKnown) {
        m_IsKnown = true;
        m_Chunk.resize(c_PackedSize);
        while (m_Rest.size() < c_LongestMagic && ReadPacked() > 0) {
            const std::string_view text(m_Rest.data(), m_Rest.size());
            if (std::ranges::none_of(c_Magics, [text](const Magic_T& row) {
                    return row.bytes.starts_with(text.substr(0, row.bytes.size()));
                })) {
                break; // a pipe may not have more yet
            }
        }
        const std::string_view text(m_Rest.data(), m_Rest.size());
        const auto* const magic = std::ranges::find_if(
            c_Magics, [text](const Magic_T& row) { return text.starts_with(row.bytes); });
        m_Method = magic == std::end(c_Magics) ? nullptr : magic->make();
    }
    if (!m_Method) {
        return ReadPlain(room);
    }
    for (;;) {
        if (m_Rest.empty() && ReadPacked() == 0 && m_Method->IsAtEnd()) {
            return 0;
        }
        const bool isEmpty = m_Rest.empty();
        const IMethod::Step_T step = m_Method->Expand(m_Rest, room);
        m_Rest = m_Rest.subspan(step.taken);
        m_Method->SetAtEnd(step.isEnd || (m_Method->IsAtEnd() && step.taken == 0));
        if (step.made > 0) {
            return step.made;
        }
        if (step.failure != nullptr || isEmpty) {
            m_Failure = !m_Failure.empty() ? m_Failure
                        : step.failure != nullptr
                            ? "it is not correctly compressed: " + std::string(step.failure)
                            : "the compressed data is incomplete";
            return 0;
        }
    }
}
