#pragma once

#include "station/output/Formats.h"
#include "station/results/Results.h"
#include "tools/CommandLine.h"

#include <optional>

// The options of the subcommands that use a results database.

inline constexpr char c_DatabaseOption[] = "database";

/// --database
void AddDatabaseOption(CCommandLine& line, const char* description);

/// The URL of the database; "results.db" if it is not given. @throw CUsageError
std::string ReadDatabaseOption(const QCommandLineParser& parser);

/// Runs of a database.
struct ChosenRuns_T {
    RunFilter_T files;
    std::optional<Outcome> outcome; ///< nothing: any
};

/// The options that choose runs, without --product.
/// @param hasOutcome  also by their outcome
void AddFilterOptions(CCommandLine& line, bool hasOutcome = true);

/// Those that AddFilterOptions() adds in any case. @throw CUsageError
RunFilter_T ReadFilter(const QCommandLineParser& parser);

/// @throw CUsageError, also when runs are chosen and --database is not given
ChosenRuns_T ReadFilterOptions(const QCommandLineParser& parser);

/// Reads runs of a database as ReadTranscript() reads those of a file.
void ReadDatabase(const std::string& url, const ChosenRuns_T& chosen, IRunWriter& consumer, Judges_T judges);
