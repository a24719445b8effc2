#pragma once

#include "station/transcript/Run.h"

#include <QString>

/// The line of a run, and its unrecognised lines; printable.
QString SummaryText(const Run_T& run);
/// The counts in one line.
QString SummaryText(const Summary_T& summary);
