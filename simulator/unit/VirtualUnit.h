#pragma once

#include "simulator/Options.h"

#include <string>
#include <vector>

/// How a run on a simulated unit ended.
struct UnitRun_T {
    int exitStatus; ///< the program's
    /// What the real device would not have understood, faults that were never triggered, and the first
    /// difference from the replayed trace, a line each.
    std::vector<std::string> complaints;
    bool isTimeUp; ///< the time limit ended the run
};

/// Makes the unit, runs the program on it and removes the unit. Throws std::exception, with a message for the
/// user, when the simulator itself fails.
UnitRun_T RunOnVirtualUnit(const Options_T& options);
