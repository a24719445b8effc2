#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

/// What the placeholders of a pattern matched, in their order, as views of the text.
using Captures_T = std::array<std::string_view, 6>;

/// Matches a whole text with a pattern: %d is a whole number, %u one without a sign, both as a program prints
/// one of 32 bits; %f is a number with decimals, %s any text up to the first match of what follows in the
/// pattern, or to the last match if the pattern ends with it. There is no other conversion; a placeholder
/// beyond the sixth does not match.
std::optional<Captures_T> Match(std::string_view pattern, std::string_view text);

/// The text before the first placeholder.
constexpr std::string_view LiteralBeginning(std::string_view pattern)
{
    return pattern.substr(0, pattern.find('%'));
}

/// The whole number at the beginning of a text, or 0; limited to 64 bits.
std::int64_t LeadingNumber(std::string_view text);

/// The number, if the whole text is a finite number.
std::optional<double> DecimalNumber(std::string_view text);
