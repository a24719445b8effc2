#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Name of an error number, as EIO; its digits when the C library knows no name.
std::string ErrorName(int error);

/// Number of an error by the name that the C library knows it by; nothing for an unknown name.
std::optional<int> ErrorNamed(std::string_view name);
