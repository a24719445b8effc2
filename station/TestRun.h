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

/// The clock and the identity of the station's computer. Tests replace it.
class IHost
{
public:
    virtual ~IHost() = default;

    /// UTC with its offset, such as 2026-11-22T10:41:28.123+00:00. Can go backwards when the clock is set.
    virtual std::string Now() const = 0;
    /// Seconds since any moment; never goes backwards.
    virtual double Seconds() const = 0;
    virtual std::string Name() const = 0;
};

/// This computer.
class CHost : public IHost
{
public:
    std::string Now() const override;
    double Seconds() const override;
    std::string Name() const override;
};

/// Runs a test, shows what it prints as it comes, and leaves a run file.
/// @throw std::system_error when the file cannot be begun; then nothing was started
TestRun_T RunTest(const TestOrder_T& order, const IHost& host);
