#include "station/Pattern.h"

#include <algorithm>

namespace
{
/// Length of the number at the beginning, 0 when there is none.
/// @param kind  of the placeholder
std::size_t NumberLength(std::string_view text, char kind)
{
    const auto digits = [text](std::size_t from) {
        const std::size_t end = text.find_first_not_of("0123456789", from);
        return std::min(end, text.size()) - from;
    };
    const std::size_t sign = kind != 'u' && text.starts_with('-') ? 1 : 0;
    const std::size_t whole = digits(sign);
    if (whole == 0) {
        return 0;
    }
    std::size_t length = sign + whole;
    if (kind == 'f' && text.substr(length).starts_with('.')) {
        length += 1 + digits(length + 1);
    }
    return length;
}
} // namespace

std::string_view LiteralBeginning(std::string_view pattern) { return pattern.substr(0, pattern.find('%')); }

std::optional<Captures_T> Match(std::string_view pattern, std::string_view text)
{
    Captures_T captures;
    for (std::size_t count = 0;; ++count) {
        const std::string_view literal = LiteralBeginning(pattern);
        if (!text.starts_with(literal)) {
            return std::nullopt;
        }
        pattern.remove_prefix(literal.size());
        text.remove_prefix(literal.size());
        if (pattern.empty()) {
            return text.empty() ? std::optional(captures) : std::nullopt;
        }
        if (pattern.size() < 2 || count == captures.size()) {
            return std::nullopt;
        }
        const char kind = pattern[1];
        pattern.remove_prefix(2);
        std::size_t length = 0;
        if (kind == 's') {
            const std::string_view next = LiteralBeginning(pattern);
            // What the pattern ends with, the text ends with: a name may hold the same before.
            length = next.size() == pattern.size() ? text.rfind(next) : text.find(next);
            if (length == std::string_view::npos) {
                return std::nullopt;
            }
        } else {
            length = NumberLength(text, kind);
            if (length == 0) {
                return std::nullopt;
            }
        }
        captures[count] = text.substr(0, length);
        text.remove_prefix(length);
    }
}
