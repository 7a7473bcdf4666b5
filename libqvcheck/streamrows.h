#pragma once

#include "libqvcheck/demands.h"
#include "libqvcheck/summary.h"

#include <string>

// What the summary says about one stream, a row per subject; empty if there is nothing to report.

/// "1 injected as told by -e 100, none missing, none besides", or "looks like -e 100: ...".
std::string corruptedRow(const streamSummary_t& stream);

/// The causes, and the lost answers to lost frames: "3 this host, queue; 2 before this host, 4 follow".
std::string lostRow(const streamSummary_t& stream);

/// "3 frames, overtaken by 1, at most 3 frames and 1.368 ms late".
std::string reorderedRow(const streamSummary_t& stream);

/// Other events, and whose frames they are: "1 restart, 2 stray, sent by this host".
std::string besidesRow(const streamSummary_t& stream);

/// Smallest, mean, greatest and quantiles in ms; the rate against the demanded one, and the jitter.
std::string gapRow(const streamSummary_t& stream, const demands_t& demands);

/// The same of the round trips of a pair, and how many frames were answered early, late or not at all.
std::string roundTripRow(const pairSummary_t& pair);
