#pragma once

#include "libqvcheck/report.h"

#include <string>

/// The summary of a run: what was read, a table of its streams, and a row for each thing to report. Empty
/// rows are omitted. Ends with a line end.
std::string summaryText(const runResult_t& run, const runSettings_t& settings);
