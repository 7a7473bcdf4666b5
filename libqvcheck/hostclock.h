#pragma once

#include <cstdint>

/// ns of the monotonic clock.
std::int64_t monotonicNanoseconds();

/// ns of the system clock, which the kernel's receive stamps use.
std::int64_t systemNanoseconds();

/// How late this host may wake up, in ns, measured by a few short sleeps: twice the latest, at least 1 ms.
/// Takes about 25 ms.
std::int64_t measuredLateness();
