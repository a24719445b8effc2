#pragma once

#include <functional>
#include <gmock/gmock.h>
#include <string>
#include <utility>
#include <vector>

/// Calls, each with the condition that it breaks.
using ProgrammingFaults_T = std::vector<std::pair<std::function<void()>, std::string>>;

/// Checks that each call ends the program with the assertion of its condition.
inline void ExpectAssertions(const ProgrammingFaults_T& faults)
{
    for (const auto& [fault, condition] : faults) {
        EXPECT_DEATH(fault(), testing::HasSubstr("Assertion `" + condition + "' failed.")) << condition;
    }
}
