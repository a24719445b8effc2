#pragma once

#include <functional>
#include <gmock/gmock.h>
#include <string>
#include <utility>
#include <vector>

/// Calls, each with the condition of the assertion that fails.
using ProgrammingFaults_T = std::vector<std::pair<std::function<void()>, std::string>>;

/// Checks that each call ends the program with its assertion.
inline void ExpectAssertions(const ProgrammingFaults_T& faults)
{
    for (const auto& [fault, condition] : faults) {
        EXPECT_DEATH(fault(), testing::HasSubstr("Assertion `" + condition + "' failed.")) << condition;
    }
}
