#pragma once

#include "station/transcript/Run.h"

#include <chrono>

/// A test to run.
struct TestOrder_T {
    Bytes_T unit;    ///< serial number
    Bytes_T station; ///< its name
    Bytes_T operatorName;
    Bytes_T product;         ///< empty: not known
    Bytes_T directory = "."; ///< for the run file
    std::chrono::milliseconds timeout{0};
    Bytes_T serialCommand; ///< for sh; prints the unit's own serial number; empty: it is not verified
    std::vector<std::string> command;
};

/// What a test left.
struct TestRun_T {
    Bytes_T file;    ///< name of the run file
    Bytes_T failure; ///< why the file is not whole, or the output could not be shown; empty: neither
};

/// Runs a test, shows what it prints as it comes, and leaves a run file.
/// @throw std::system_error when the file cannot be begun; then nothing was started
TestRun_T RunTest(const TestOrder_T& order);
