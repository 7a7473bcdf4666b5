#pragma once

#include <cstdint>

/// ns of the monotonic clock.
std::int64_t monotonicNanoseconds();

/// ns of the system clock, of which the kernel's receive stamps are.
std::int64_t systemNanoseconds();

/// How late this host may be with a wake-up, in ns, from a few short sleeps: twice the latest one, and 1 ms
/// at least. Takes about 25 ms.
std::int64_t measuredLateness();
