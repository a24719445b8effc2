#pragma once

#include <charconv>
#include <optional>
#include <string_view>

/// The number that a text is as a whole, in a base; nothing when it is none, or none that the type can hold.
template <class Number_T>
std::optional<Number_T> NumberIn(std::string_view text, int base = 10)
{
    Number_T number{};
    const char* const pEnd = text.data() + text.size();
    const auto [pStop, error] = std::from_chars(text.data(), pEnd, number, base);
    return error == std::errc() && pStop == pEnd ? std::optional(number) : std::nullopt;
}
