#pragma once

#include "simulator/Options.h"

#include <string>
#include <vector>

/// How a run on a simulated unit ended.
struct UnitRun_T {
    int exitStatus;                          ///< the program's
    std::vector<std::string> refusals;       ///< what it did that the real device would not have understood
    std::vector<std::string> unstruckFaults; ///< faults whose operation never came
    std::string difference;                  ///< first one from the replayed trace; empty: none
};

/// Makes the unit, runs the program on it and removes the unit. Throws std::exception, with a message for the
/// user, when the simulator itself fails.
UnitRun_T RunOnVirtualUnit(const Options_T& options);
