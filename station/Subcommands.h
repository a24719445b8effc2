#pragma once

#include <QStringList>

/// An option of several of them.
inline constexpr char c_Product[] = "product";

// The subcommands, each in a file of its name. The first argument is skipped. Each returns the exit status
// and throws what RunProgram() prints.
int Import(const QStringList& arguments);
int Limits(const QStringList& arguments);
int Report(const QStringList& arguments);
int Run(const QStringList& arguments);
int Yield(const QStringList& arguments);
