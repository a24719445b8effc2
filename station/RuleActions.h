#pragma once

#include "station/Rules.h"

// What lines put into the run, for the table of rules: each takes the placeholders of its rule's pattern, and
// returns false when the line is none of these after all.
bool TakeImage(OpenRun_T& open, const Captures_T& captures);
bool TakeParameters(OpenRun_T& open, const Captures_T& captures);
bool TakeSamples(OpenRun_T& open, const Captures_T& captures);
bool TakeElement(OpenRun_T& open, const Captures_T& captures);
bool TakeChannelAndElement(OpenRun_T& open, const Captures_T& captures);
bool TakeSampleCount(OpenRun_T& open, const Captures_T& captures);
bool TakeVersion(OpenRun_T& open, const Captures_T& captures);
bool TakeTicks(OpenRun_T& open, const Captures_T& captures);
bool TakeAttempt(OpenRun_T& open, const Captures_T& captures);
bool TakeCode(OpenRun_T& open, const Captures_T& captures);
bool TakeUsage(OpenRun_T& open, const Captures_T& captures);
