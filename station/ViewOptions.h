#pragma once

#include "station/View.h"

#include <QCommandLineParser>

/// The options that say how pictures are drawn.
void AddViewOptions(QCommandLineParser& parser);

/// What they say; the width and the characters are the terminal's unless an option says otherwise: the width
/// of standard output's (COLUMNS before it, 80 without both), Unicode where LC_ALL, LC_CTYPE or LANG, the
/// first that is set, names UTF-8.
/// @param wrongUsage  gets a message when a value is none
View_T ReadViewOptions(const QCommandLineParser& parser, QString& wrongUsage);
