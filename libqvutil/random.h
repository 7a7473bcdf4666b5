#pragma once

#include <cstdint>
#include <cstdlib>

static_assert(RAND_MAX == 0x7FFFFFFF, "the factor below is 2^-31: rand() must give 0 to 2^31 - 1");

/// A random draw in [`lo`, `hi`] from `rand()`; `lo` when `lo` >= `hi`. T is an unsigned type of at most 64
/// bits.
template<typename T>
T randomRange(T lo, T hi) {
    if (lo >= hi) {
        return lo;
    }
    constexpr double factor = 4.656612873077393e-10; // 2^-31, exactly
    const double fraction = static_cast<double>(std::rand()) * factor;
    // hi + 1 - lo wraps to 0 for the full range of T, which then gives lo: one of 2^64 values, and no
    // conversion overflows.
    return lo + static_cast<T>(static_cast<double>(static_cast<T>(hi + 1 - lo)) * fraction);
}
