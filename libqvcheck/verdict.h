#pragma once

#include "libqvcheck/allowance.h"
#include "libqvcheck/summary.h"

#include <cstdint>

/// How a check ends; the value is the program's exit status.
enum verdict_t : std::uint8_t {
    V_PASS = 0,
    V_FAIL = 1,
    V_NO_PATTERN = 3,
    V_INCOMPLETE = 4,
};

/// The verdict on a finished run. `whole` is false when an input could not be opened or read to its end. A
/// failure beats an incomplete check, which beats the absence of a pattern; frames that only this host lost
/// make it incomplete, and so do more streams than there is room for.
verdict_t verdictOf(const summary_t& summary, const Allowance& allowance, bool whole);

/// The kind has more findings than are allowed.
bool exceeds(const summary_t& summary, const Allowance& allowance, findingKind_t kind);
