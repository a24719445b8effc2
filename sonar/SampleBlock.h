#pragma once

/// Prints samples as decimal numbers separated by commas between the markers that test stations look for.
/// With a step above 1 a comma follows the last number too.
/// @param samples      the samples; count of them
/// @param incrementBy  step from one printed sample to the next; below 1 counts as 1, and it is lowered until
///                     it divides count
/// @return 0
int OutputAsStringShort(const unsigned short* samples, int count, int incrementBy);
