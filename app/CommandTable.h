#pragma once

#include "framework/TestResult.h"

#include <string>

class CSonarTestController;

/// Runs the command that argv[1] names.
/// @param output  receives what the command reports
/// @return the result of the run; NOT_RECOGNIZED, with nothing done, for a missing or unknown command word
TestResult_T RunCommand(CSonarTestController& controller, int argc, char* argv[], std::string& output);
