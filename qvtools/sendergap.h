#pragma once

#include "libqvutil/number.h"
#include "libqvutil/unit.h"

#include <cmath>
#include <cstdint>

/// The time between a sender's frames, which is within `jitter` of `gap`. Both in µs.
struct senderGap_t {
    std::uint64_t gap;
    std::uint64_t jitter; ///< below `gap` unless both are 0
};

/// A bare number is in µs; with a prefix it is scaled, modulo 2^64. Prefixes below micro scale by 0, and the
/// factor is computed in double precision, not from a table of integer powers: both intended.
inline std::uint64_t toMicroseconds(const unit_t<std::uint64_t>& unit) {
    return unit.prefix ? unit.val * saturateToUint64(std::pow(10.0, unit.exp + 6)) : unit.val;
}

/// The combined meaning of -t and -j. A jitter that is not smaller than the gap is cut to one below it:
/// intended.
inline senderGap_t senderGap(const unit_t<std::uint64_t>& gapUnit, const unit_t<std::uint64_t>& jitterUnit) {
    senderGap_t times = {toMicroseconds(gapUnit), toMicroseconds(jitterUnit)};
    if (times.gap == 0) {
        times.jitter = 0;
    } else if (times.jitter >= times.gap) {
        times.jitter = times.gap - 1;
    }
    return times;
}
