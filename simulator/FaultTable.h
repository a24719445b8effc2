#pragma once

#include "simulator/FaultEffects.h"
#include "simulator/FaultOperations.h"

#include <cstdint>
#include <string>
#include <string_view>

/// A kind of fault.
struct FaultKind_T {
    FaultOperation_T operation;
    std::string_view kind; ///< in capitals where it stands for a value
    std::string_view explanation;
    /// Whether what the program asked for is missing afterwards, so that a device may refuse what follows.
    bool explainsRefusals;
    /// Does it to what it befalls; null: it is played where the program calls the system.
    void (*play)(Befallen_T& befallen, int value) = nullptr;
};

/// A planned fault.
struct Fault_T {
    std::string specification; ///< as it was given
    const FaultKind_T* kind;   ///< a row of the table
    std::uint32_t number;      ///< 1-based count of the operation; 0: each of them
    int value;                 ///< errno or FIFO status, else 0
};

/// Reads a specification OPERATION:NUMBER=KIND, as FaultHelp() lists them. Throws std::invalid_argument, with
/// one line that names the text and what is allowed, when it is none.
Fault_T FaultOf(const std::string& specification);

/// The operations and kinds of faults, a line each, for a help text.
std::string FaultHelp();

/// The operations and kinds of faults as lines "OPERATION KIND", for a program.
std::string FaultList();
