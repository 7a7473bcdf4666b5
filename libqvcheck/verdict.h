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

/// The verdict on a finished run. `whole` is false if an input could not be opened or read to the end. A
/// failure outranks an incomplete check, which outranks the absence of a pattern; frames lost only by this
/// host make the check incomplete, and so do more streams than there is room for.
verdict_t verdictOf(const summary_t& summary, const Allowance& allowance, bool whole);

/// The kind has more findings than allowed.
bool exceeds(const summary_t& summary, const Allowance& allowance, findingKind_t kind);
