#pragma once

#include "libqvcheck/report.h"

#include <string>

/// The verdict in one line, without line end: "PASS: 30,000 frames, none lost, repeated, reordered or
/// corrupted".
std::string verdictLine(const runResult_t& run, const runSettings_t& settings);

/// "pass", "fail", "no pattern", "incomplete".
const char* verdictName(verdict_t verdict);
