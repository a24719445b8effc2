#pragma once

#include <QString>

/// The beginning of a page, up to and with <body>: nothing can be fetched, and only PageScript() can run,
/// whatever a unit printed.
/// @param hasScript  the page has that script; otherwise none can run
QString PageHead(const QString& title, bool hasScript);

/// The element <script>, for the end of the page: it filters the runs.
QString PageScript();
