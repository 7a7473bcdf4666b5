#pragma once

#include "libqvcheck/demands.h"
#include "libqvcheck/finding.h"
#include "libqvcheck/summary.h"

#include <string>

/// A finding without its time, interface and stream: "lost 2: 12A4 to 12A5, in 6.004 ms; before this host".
std::string findingText(const finding_t& finding, const demands_t& demands);

/// The kind of damage, for a frame that came with `length` bytes of which `differing` differ: "inverted", "3
/// bytes", "shortened to 5".
std::string damageText(const evidence_t& evidence);

/// "3 this host, queue; 2 before this host": the causes that have frames.
std::string causesText(const lossShares_t& causes);

/// What a stream is: "FD 64 bytes, standard, start 001, first frame seen".
std::string streamText(const streamSummary_t& stream);

/// "FD 64, standard", preceded by "answers" or "remote" where that applies.
std::string streamKind(const streamSummary_t& stream);

/// Its start as an identifier, or "xx..23" if only the low byte is known.
std::string startText(const streamSummary_t& stream);
