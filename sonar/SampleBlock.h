#pragma once

#include <string>

/// Makes the complaint about a sample that takes this number of characters.
using WrongSize_T = std::string(int characters);
std::string NotThreeDigits(int characters);

/// Prints the whole parts of samples with three digits each and nothing between them, between the block's
/// markers. A sample that takes another number of characters is left out; its complaint is printed before the
/// block.
/// @return 0, or 1 when a sample was left out
int OutputAsString(const float* samples, int count, WrongSize_T* wrongSize = NotThreeDigits);

/// Prints samples as decimal numbers separated by commas, between the block's markers. With a step above 1 a
/// comma follows the last number, too.
/// @param incrementBy  step from one printed sample to the next. A step below 1 counts as 1. A step that does
///                     not divide count is lowered until it does.
/// @return 0
int OutputAsStringShort(const unsigned short* samples, int count, int incrementBy);
