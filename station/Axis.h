#pragma once

#include <vector>

/// Round numbers (1, 2 or 5 times a power of ten apart) from one value to another, at most so many.
/// @param to    not below from; both finite
/// @param most  at least 2
std::vector<double> Ticks(double from, double to, int most);
