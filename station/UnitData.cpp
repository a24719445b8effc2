#include "station/UnitData.h"

#include <algorithm>
#include <iterator>

namespace
{
constexpr std::string_view c_Border = "//////////////////////////////////";
constexpr std::string_view c_NotRead = "ERROR: Failed to open file:";

struct Label_T {
    std::string_view text;
    Bytes_T Unit_T::*field; ///< null: known otherwise
};

// In their order. The misspelt one is the program's.
constexpr Label_T c_Labels[] = {{"Unit Data for bug reports: ", nullptr},
                                {"Command:\t\t\t", nullptr},
                                {"Platfrom: \t\t\t", &Unit_T::product},
                                {"Test App Build ID:\t\t", nullptr},
                                {"Test App Version:\t\t", nullptr},
                                {"MFD Application Version: \t", &Unit_T::applicationVersion},
                                {"Platform Version: \t\t", &Unit_T::platformVersion},
                                {"Serial Number: \t\t\t", &Unit_T::serialNumber}};
} // namespace

bool CUnitData::IsBorder(std::string_view text) { return text == c_Border; }

bool CUnitData::IsWhole() const { return m_Labels == std::size(c_Labels); }

void CUnitData::GoOn(std::string_view text, Unit_T& unit) const
{
    Bytes_T Unit_T::*const field = m_Labels == 0 ? nullptr : c_Labels[m_Labels - 1].field;
    if (field == nullptr || text.empty()) {
        return;
    }
    Bytes_T& value = unit.*field;
    const std::size_t room = c_LongestKeptLine - std::min(value.size(), c_LongestKeptLine);
    value += (value.empty() ? "" : "\n") + Bytes_T(text.substr(0, room));
}

bool CUnitData::Take(std::string_view text, Unit_T& unit)
{
    const bool isEnd = text.ends_with(c_Border);
    text.remove_suffix(isEnd ? c_Border.size() : 0);
    while (m_Labels < std::size(c_Labels)) {
        const std::string_view label = c_Labels[m_Labels].text;
        const std::size_t place = text.find(label);
        if (place == std::string_view::npos) {
            break;
        }
        GoOn(text.substr(0, place), unit);
        ++m_Labels;
        text.remove_prefix(place + label.size());
    }
    GoOn(text, unit);
    if (isEnd) {
        for (const Label_T& label : c_Labels) {
            // What stands in the place of a file that could not be read is no content.
            if (label.field != nullptr && (unit.*label.field).starts_with(c_NotRead)) {
                (unit.*label.field).clear();
            }
        }
    }
    return isEnd;
}
