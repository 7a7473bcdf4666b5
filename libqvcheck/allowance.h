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
    /// Foreign frames are allowed without limit, nothing else is.
    Allowance() { most[FK_FOREIGN] = unlimited; }

    /// Adds a list like "lost=10,reordered" or "all". Returns false, with the first invalid entry in `wrong`,
    /// if there is one; the entries before it have been added.
    bool add(std::string_view list, std::string& wrong);

    /// Whether any of this kind are allowed.
    bool allows(findingKind_t kind) const { return most[kind] > 0; }
    /// The largest number that does not fail the check.
    std::uint64_t limit(findingKind_t kind) const { return most[kind]; }

    static constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

private:
    std::array<std::uint64_t, FK_NUM> most = {};
};
