#pragma once

#include "simulator/faults/FaultTable.h"
#include "simulator/trace/TraceText.h"

#include <initializer_list>
#include <optional>

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

/// Counts a call, writes it into the log and returns its faults. Leaves errno alone.
CallEffect_T CountCall(FaultOperation_T operation);

/// How the program used a file in the recording that is replayed.
struct RecordedUse_T {
    unsigned number; ///< of the use
    FileAccess access;
    int error; ///< of a Failed
};

/// Whether files are used as a recording says.
bool HasRecordedFiles();

/// Takes the next recorded use of a file, which must be one of these or Failed. Returns nothing if the
/// recording lacks it, and writes that into the log.
std::optional<RecordedUse_T> TakeRecordedUse(std::string_view path, std::initializer_list<FileAccess> uses,
                                             std::string_view call);
