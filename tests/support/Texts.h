#pragma once

#include <exception>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using Words_T = std::vector<std::string>;

/// A text with the first occurrence of a part replaced. The test fails if the part is missing.
inline std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << "missing: " << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

/// What a call prints on standard output.
template <class Call>
std::string PrintedBy(Call call)
{
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

/// The message of the exception that ends a call, empty when none does.
template <class Call>
std::string ErrorOf(Call call)
{
    try {
        call();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}
