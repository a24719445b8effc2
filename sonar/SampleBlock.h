#pragma once

/// Prints samples as decimal numbers separated by commas between the markers that test stations look for.
/// @param samples      the samples; count of them
/// @param incrementBy  every how manyth is printed: below 1 counts as 1, and a step that does not divide
/// count is
///                     lowered until it does. With a step above 1 a comma follows the last number too.
/// @return 0
int OutputAsStringShort(const unsigned short* samples, int count, int incrementBy);
