#pragma once

#include "libqvcheck/finding.h"

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
