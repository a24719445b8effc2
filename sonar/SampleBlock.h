#pragma once

#include <string>

/// Text of the complaint about a sample that takes so many characters.
using WrongSize_T = std::string(int characters);
std::string NotThreeDigits(int characters);

/// Prints samples with three digits each and nothing between them, between the markers that test stations
/// look for. A sample that takes another number of characters is left out, its complaint printed before the
/// block.
/// @param samples  the samples; count of them. Their whole parts are printed
/// @return 0, or 1 when a sample was left out
int OutputAsString(const float* samples, int count, WrongSize_T* wrongSize = NotThreeDigits);

/// Prints samples as decimal numbers separated by commas between the markers that test stations look for.
/// With a step above 1 a comma follows the last number too.
/// @param samples      the samples; count of them
/// @param incrementBy  step from one printed sample to the next; below 1 counts as 1, and it is lowered until
///                     it divides count
/// @return 0
int OutputAsStringShort(const unsigned short* samples, int count, int incrementBy);
