#pragma once

#include "station/Transcripts.h"
#include "tools/CommandLine.h"

#include <optional>

// What the subcommands have in common that judge runs.

void AddLimitsOptions(CCommandLine& line);

/// The limits of the options; nothing if none were given. @throw CUsageError, and what ReadLimits() throws
std::optional<CLimits> ReadLimitsOptions(const QCommandLineParser& parser);

/// Reads the runs of a file, which c_StandardStream can name.
/// @param isFollowed  it grows: at its end, this waits for more, until SIGINT or SIGTERM comes
/// @return false, after a message, when it cannot be read to its end
bool ReadFile(const std::string& name, IRunWriter& consumer, Judges_T judges, bool isFollowed = false);

/// The exit status for these runs.
int StatusOf(const Summary_T& summary, bool isStrict);

/// Shows the verdict in large letters on standard error, because standard output has what was asked for: PASS
/// for a status of 0, FAIL for 1, otherwise NOT TESTED.
/// @param details  lines below it, with their ends
void ShowVerdict(int status, const QString& name, const QString& details, bool isColoured);

/// Whether a stream gets colours unless it is asked otherwise: a terminal, without NO_COLOR.
bool TakesColours(int stream);
