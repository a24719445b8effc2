#pragma once

#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

// Numbers and errors as text, also for the library that is loaded into the program.

/// The number that the text is, in a base. Nothing when the text is not a number or does not fit the type.
template <class Number_T>
std::optional<Number_T> NumberIn(std::string_view text, int base = 10)
{
    Number_T number{};
    const char* const pEnd = text.data() + text.size();
    const auto [pStop, error] = std::from_chars(text.data(), pEnd, number, base);
    return error == std::errc() && pStop == pEnd ? std::optional(number) : std::nullopt;
}

/// A number as "0x" and hexadecimal digits in lower case, at least so many.
inline std::string HexText(std::uint64_t value, std::size_t digits)
{
    std::string text;
    for (; value != 0 || text.size() < digits; value >>= 4) {
        text.insert(text.begin(), "0123456789abcdef"[value & 0xF]);
    }
    return "0x" + text;
}

/// "1 byte", "2 bytes".
inline std::string ByteCount(std::size_t count)
{
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

/// Name of an error number, such as EIO; the number when the C library has no name for it.
inline std::string ErrorName(int error)
{
    const char* const pName = ::strerrorname_np(error);
    return pName != nullptr ? pName : std::to_string(error);
}

inline constexpr int c_MostErrors = 200;

/// The error number of a name; nothing for an unknown name.
inline std::optional<int> ErrorNamed(std::string_view name)
{
    for (int number = 1; number < c_MostErrors; ++number) {
        const char* const pName = ::strerrorname_np(number);
        if (pName != nullptr && name == pName) {
            return number;
        }
    }
    return std::nullopt;
}
