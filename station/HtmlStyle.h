#pragma once

#include <QString>

/// The style sheet of the page: dark and light as the reader's system is, and for paper.
QString HtmlStyle();
