#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

/// A text that a template takes as its argument.
template <std::size_t Size>
struct ConstantText_T {
    char bytes[Size];
    consteval ConstantText_T(const char (&text)[Size]) { std::copy_n(text, Size, bytes); }
};

/// The texts one after the other, zero-terminated, made by the compiler.
template <ConstantText_T... Texts>
inline constexpr auto c_Joined = [] {
    std::array<char, (sizeof(Texts.bytes) + ...) - sizeof...(Texts) + 1> joined{};
    char* pEnd = joined.data();
    ((pEnd = std::copy_n(Texts.bytes, sizeof(Texts.bytes) - 1, pEnd)), ...);
    return joined;
}();
