#pragma once

#include "simulator/faults/FaultTable.h"

// This directory is a library that is loaded into the program under test, in front of the C library. It does
// not allocate, and it needs nothing but the C library at run time, whatever the program is built with.

/// The faults of a call: an error, or any of the other kinds.
struct CallEffect_T {
    int error = 0;      ///< errno that the call fails with; 0: none
    unsigned kinds = 0; ///< the other kinds, a bit each

    bool Has(CallKind_T kind) const { return (kinds >> static_cast<unsigned>(kind) & 1U) != 0; }
};

/// Begins to count if this process is the program under test: sonarbench, with a plan in its environment.
/// Ends the process with a message when the plan cannot be read.
void BeginCounting();

/// Whether calls are counted. They are not in other programs, nor in a child before it becomes another
/// program.
bool IsCounting();

/// Counts a call, writes it into the log and returns its faults. Leaves errno alone.
CallEffect_T CountCall(FaultOperation_T operation);
