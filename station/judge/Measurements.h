#pragma once

#include "station/transcript/Run.h"

#include <span>
#include <string_view>

/// A measurement that a run can have. docs/measurements.md defines each.
struct MeasurementRow_T {
    const char* name;
    const char* unit;     ///< empty: a plain number
    double least;         ///< of the values that are possible
    double most;          ///< of the values that are possible
    const char* meaning;  ///< for people, in one line
    bool usesLaw = false; ///< its values of three-digit samples depend on what the receiver's law is
};

/// All measurements, in the order of the outputs.
std::span<const MeasurementRow_T> MeasurementRows();

/// Null for a name that is not known.
const MeasurementRow_T* MeasurementOf(std::string_view name);
