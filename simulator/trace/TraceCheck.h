#pragma once

#include "framework/Products.h"
#include "simulator/trace/TraceFile.h"

/// What a trace shows of an assumption that the virtual unit makes. docs/first-unit.md has them all.
struct AssumptionResult_T {
    const char* name;
    std::size_t seen = 0; ///< how often the trace shows something about it
    std::size_t line = 0; ///< of the file, where it is broken first; 0: it is not
    std::string what{};   ///< happened there
};

/// Compares the answers in a trace with those of the product's virtual unit. Throws std::runtime_error
/// "NAME:LINE: ..." if a byte of the program is left open (??). All devices must be the product's.
/// @return a result for each assumption, in the order of the documentation
std::vector<AssumptionResult_T> CheckTrace(const TraceFile_T& trace, const Product_T& product);

/// The results for people, a line for each.
/// @param name  of the trace
std::string TraceCheckText(const std::vector<AssumptionResult_T>& results, const std::string& name);
