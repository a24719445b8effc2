#pragma once

#include "station/Run.h"

/// Count a message or a line, and keep it while there is room.
void Keep(Run_T& run, Message_T message);
void KeepUnrecognised(Run_T& run, Line_T line);

/// Takes the command line apart into program, command and arguments, and its last blank away.
/// @return whether there was one: the program prints it behind each word
bool SplitCommandLine(Run_T& run);
