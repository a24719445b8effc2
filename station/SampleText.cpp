#include "station/SampleText.h"

#include <charconv>
#include <optional>

namespace
{
using Values_T = std::vector<std::int32_t>;
constexpr std::size_t c_Digits = 3;

/// The number that a text is; nothing when it is none.
template <class Number>
std::optional<std::int32_t> Whole(std::string_view text)
{
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional<std::int32_t>(number) : std::nullopt;
}

/// Numbers behind each other, three characters each; a negative one has two digits.
bool ReadThreeDigits(std::string_view text, Values_T& values)
{
    values.reserve(text.size() / c_Digits);
    for (; text.size() >= c_Digits; text.remove_prefix(c_Digits)) {
        const auto value = Whole<std::int16_t>(text.substr(0, c_Digits));
        if (!value) {
            return false;
        }
        values.push_back(*value);
    }
    return text.empty();
}

/// Numbers with commas between; one may stand at the end.
bool ReadDecimals(std::string_view text, Values_T& values)
{
    while (!text.empty()) {
        const std::string_view number = text.substr(0, text.find(','));
        const auto value = Whole<std::uint16_t>(number);
        if (!value) {
            return false;
        }
        values.push_back(*value);
        text.remove_prefix(std::min(number.size() + 1, text.size()));
    }
    return true;
}
} // namespace

bool ReadSamples(std::string_view text, Samples_T& samples)
{
    const bool isThreeDigit = text.size() % c_Digits == 0 && text.find(',') == std::string_view::npos;
    Values_T values;
    if (!(isThreeDigit ? ReadThreeDigits(text, values) : ReadDecimals(text, values))) {
        return false;
    }
    samples.isPrinted = true;
    samples.isThreeDigit = isThreeDigit;
    samples.values = std::move(values);
    samples.taken = samples.values.size();
    return true;
}
