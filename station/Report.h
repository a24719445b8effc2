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
