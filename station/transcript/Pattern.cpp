#include "station/transcript/Pattern.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace
{
/// Length of the number at the beginning; 0: there is none, or none that a program prints.
/// @param kind  of the placeholder
std::size_t NumberLength(std::string_view text, char kind)
{
    const auto digits = [text](std::size_t from) {
        const auto rest = text.substr(from);
        const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
        return static_cast<std::size_t>(std::ranges::find_if_not(rest, isDigit) - rest.begin());
    };
    const std::size_t sign = kind != 'u' && text.starts_with('-') ? 1 : 0;
    const std::size_t whole = digits(sign);
    const std::size_t length = sign + whole;
    if (whole == 0 || (whole > 1 && text[sign] == '0')) {
        return 0;
    }
    if (kind == 'f') {
        return length + (text.substr(length).starts_with('.') ? 1 + digits(length + 1) : 0);
    }
    constexpr std::size_t anyFits = 9; // digits
    const std::int64_t number = whole <= anyFits ? 0 : LeadingNumber(text.substr(0, length));
    return number >= std::numeric_limits<std::int32_t>::min() &&
                   number <= std::numeric_limits<std::uint32_t>::max()
               ? length
               : 0;
}
} // namespace

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
            // The last text of a pattern must be at the end: a name may hold the same text before.
            const bool isLast = next.size() == pattern.size();
            if (isLast && !text.ends_with(next)) {
                return std::nullopt;
            }
            length = isLast ? text.size() - next.size() : text.find(next);
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

std::int64_t LeadingNumber(std::string_view text)
{
    std::int64_t number = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), number).ec ==
        std::errc::result_out_of_range) {
        using Limits_T = std::numeric_limits<std::int64_t>;
        return text.starts_with('-') ? Limits_T::min() : Limits_T::max();
    }
    return number;
}

std::optional<double> DecimalNumber(std::string_view text)
{
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && std::isfinite(number) ? std::optional(number)
                                                                        : std::nullopt;
}
