#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

/// What the placeholders of a pattern stand for, in their order, as views into the text.
using Captures_T = std::array<std::string_view, 6>;

/// Matches a whole text with a pattern: %d is a whole number, %u one without a sign, %f a number with
/// decimals, %s any text up to the first place where the pattern goes on to another placeholder, or the last
/// where it ends. There is no other conversion; a placeholder beyond the sixth does not match.
std::optional<Captures_T> Match(std::string_view pattern, std::string_view text);

/// What stands before the first placeholder.
std::string_view LiteralBeginning(std::string_view pattern);
