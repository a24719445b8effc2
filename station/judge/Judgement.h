#pragma once

#include "station/transcript/Run.h"

/// Completes a run that was read to its end: measurements of readings, outcome and reason.
void Judge(Run_T& run);
