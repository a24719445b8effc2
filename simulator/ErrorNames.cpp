#include "simulator/ErrorNames.h"

#include <cstring>

std::string ErrorName(int error)
{
    const char* const pName = ::strerrorname_np(error);
    return pName != nullptr ? pName : std::to_string(error);
}

std::optional<int> ErrorNamed(std::string_view name)
{
    constexpr int c_MostErrors = 200;
    for (int number = 1; number < c_MostErrors; ++number) {
        const char* const pName = ::strerrorname_np(number);
        if (pName != nullptr && name == pName) {
            return number;
        }
    }
    return std::nullopt;
}
