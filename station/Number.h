#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

/// The whole number at the beginning of a text, 0 when there is none; the nearest one where it does not fit.
inline std::int64_t LeadingNumber(std::string_view text)
{
    std::int64_t number = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), number).ec ==
        std::errc::result_out_of_range) {
        using Limits_T = std::numeric_limits<std::int64_t>;
        return text.starts_with('-') ? Limits_T::min() : Limits_T::max();
    }
    return number;
}

/// The finite number that a text is; nothing when it is anything else.
inline std::optional<double> DecimalNumber(std::string_view text)
{
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && std::isfinite(number) ? std::optional(number)
                                                                        : std::nullopt;
}
