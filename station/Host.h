#pragma once

#include <string>

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
