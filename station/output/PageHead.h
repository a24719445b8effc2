#pragma once

#include <QString>

/// The beginning of the page, up to and with <body>: nothing can be fetched, and only the page's own script
/// can run, whatever a unit printed.
QString PageHead();

/// The element <script>, for the end of the page: it filters the runs.
QString PageScript();
