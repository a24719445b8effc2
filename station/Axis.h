#pragma once

#include <vector>

/// Decimals with which values a step apart look different.
/// @param step  above 0, finite
int DecimalsOf(double step);

struct Ticks_T {
    std::vector<double> values; ///< at least one
    int decimals = 0;           ///< that they need to be shown
};

/// Round numbers (1, 2 or 5 times a power of ten apart) from one value to another, at most so many.
/// @param to    not below from; both finite
/// @param most  at least 2
Ticks_T Ticks(double from, double to, int most);
