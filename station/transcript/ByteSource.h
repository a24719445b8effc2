#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// The bytes of a transcript, in pieces.
class IByteSource
{
public:
    virtual ~IByteSource() = default;

    /// Reads some bytes to the beginning of the room, at least one; 0: there are no more, or reading failed.
    virtual std::size_t Read(std::span<char> room) = 0;
    /// Calls a function while this waits for bytes that come later, as those of a pipe: with true when none
    /// came for a tenth of a second, with false every tenth of a second while they come.
    virtual void WhenWaiting(const std::function<void(bool isIdle)>&) {}
    /// Number of all bytes; nothing if it is not known.
    virtual std::optional<std::uint64_t> Size() const = 0;
    /// Why reading failed; empty: it did not.
    const std::string& Failure() const { return m_Failure; }

protected:
    std::string m_Failure;
};

/// Bytes in memory.
class CTextSource : public IByteSource
{
public:
    /// @param text  must outlive this
    explicit CTextSource(std::string_view text) : m_Text(text) {}
    std::size_t Read(std::span<char> room) override;
    std::optional<std::uint64_t> Size() const override { return m_Size; }

private:
    std::string_view m_Text;
    std::size_t m_Size = m_Text.size();
};

/// A file, a pipe or a device.
class CFileSource : public IByteSource
{
public:
    /// @param descriptor  open for reading; it must outlive this
    /// @param isFollowed  a file that grows: at its end, this waits for more until SIGINT or SIGTERM comes
    explicit CFileSource(int descriptor, bool isFollowed = false);
    std::size_t Read(std::span<char> room) override;
    std::optional<std::uint64_t> Size() const override;
    void WhenWaiting(const std::function<void(bool isIdle)>& call) override { m_Call = call; }

private:
    using Clock_T = std::chrono::steady_clock;

    void WaitForFirst();
    bool WaitForMore();

    int m_Descriptor;
    std::function<void(bool isIdle)> m_Call;
    bool m_IsRegular;
    bool m_IsFollowed;
    Clock_T::time_point m_Called = Clock_T::now();
};

/// The bytes of another source, expanded if they are compressed with gzip or zstd, as their beginning shows.
/// Any number of compressed files may follow one another. Needs memory for one window of zstd, 8 MiB; larger
/// ones, which zstd makes only when asked to, are refused.
class CExpandedSource : public IByteSource
{
public:
    /// @param packed  must outlive this
    explicit CExpandedSource(IByteSource& packed);
    ~CExpandedSource() override;
    std::size_t Read(std::span<char> room) override;
    /// Not of compressed bytes.
    std::optional<std::uint64_t> Size() const override { return m_Method ? std::nullopt : m_Packed.Size(); }
    void WhenWaiting(const std::function<void(bool isIdle)>& call) override { m_Packed.WhenWaiting(call); }

    /// A method of compression.
    class IMethod;

private:
    std::size_t ReadPacked();
    std::size_t ReadPlain(std::span<char> room);

    IByteSource& m_Packed;
    std::string m_Chunk; ///< of the packed bytes
    std::span<const char> m_Rest;
    std::unique_ptr<IMethod> m_Method; ///< null: the bytes are not compressed
    bool m_IsKnown = false;            ///< whether they are
};
