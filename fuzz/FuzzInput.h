#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

/// The fuzzer's bytes, taken from the front. After the last one, all bytes are zero.
class CFuzzInput
{
public:
    CFuzzInput() = default;
    CFuzzInput(const std::uint8_t* pData, std::size_t size) : m_Rest(pData, size) {}

    bool IsEmpty() const { return m_Rest.empty(); }

    std::uint8_t Byte()
    {
        const auto taken = Take(1);
        return taken.empty() ? std::uint8_t{0} : taken.front();
    }
    /// Two bytes, the low one first.
    std::uint16_t Word()
    {
        const unsigned int low = Byte();
        return static_cast<std::uint16_t>(low | static_cast<unsigned int>(Byte()) << 8);
    }
    /// At most count bytes; a view of the fuzzer's memory.
    std::span<const std::uint8_t> Take(std::size_t count)
    {
        const auto taken = m_Rest.first(std::min(count, m_Rest.size()));
        m_Rest = m_Rest.subspan(taken.size());
        return taken;
    }
    /// A text of at most 255 bytes, which follows its length.
    std::string Text()
    {
        const auto taken = Take(Byte());
        return {taken.begin(), taken.end()};
    }
    /// The row of a table that the next byte chooses.
    template <class Table>
    auto& OneOf(Table& table)
    {
        return table[Byte() % std::size(table)];
    }

private:
    std::span<const std::uint8_t> m_Rest;
};

/// A condition of every run, whatever the input. A finding if it does not hold.
inline void Require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "Not so: %s\n", what);
        std::abort();
    }
}

/// A condition of every message about an input: a terminal can show it.
inline void RequireMessage(std::string_view message)
{
    constexpr std::size_t c_Longest = 1000;
    Require(!message.empty() && message.size() <= c_Longest, "a message is short");
    Require(std::ranges::all_of(message, [](char character) { return character >= ' ' && character <= '~'; }),
            "a message is printable");
}
