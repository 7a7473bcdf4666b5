#pragma once

#include "libqvcheck/finding.h"
#include "libqvcheck/summary.h"

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

/// The findings that do not fail a check, each up to a number.
class Allowance {
public:
    /// Foreign frames are allowed without limit, nothing else.
    Allowance() { most[FK_FOREIGN] = unlimited; }

    /// Adds a list like "lost=10,reordered" or "all". False, with the entry that could not be read in
    /// `wrong`, when there is one; what came before it has been added.
    bool add(std::string_view list, std::string& wrong);

    /// Some number of this kind is allowed.
    bool allows(findingKind_t kind) const { return most[kind] > 0; }
    /// The largest number of them that does not fail the check.
    std::uint64_t limit(findingKind_t kind) const { return most[kind]; }

    static constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

private:
    std::array<std::uint64_t, FK_NUM> most = {};
};

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
