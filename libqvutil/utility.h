#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>

constexpr std::int64_t nsPerSecond = 1000000000;

/// The system's text for an error number. The only place that turns one into text.
const char* errorText(int errnum);

/// The last path component of `argv0`, not copied; null remains null.
const char* progname(const char* argv0);

/// The number of columns of UTF-8 `text` in any locale. Counts code points: the texts of these tools contain
/// no wide or combining ones. Null has none.
std::size_t displayWidth(const char* text);

/// `duration` as seconds and remaining nanoseconds. A negative duration gives negative parts, which system
/// calls refuse.
timespec toTimespec(std::chrono::microseconds duration);

/// Sleeps `microseconds`; 0 returns at once. A signal does not shorten the sleep unless `interruptible`.
void microsleep(unsigned long microseconds, bool interruptible);

/// A clock that starts at the local time of day and then follows the monotonic clock, in µs. It never steps
/// back and does not restart at midnight, so callers are unaffected by midnight and by changes of the system
/// clock.
class DayClock {
public:
    DayClock();
    std::uint64_t now() const;

private:
    std::uint64_t offset; ///< µs, modulo 2^64: time of day minus monotonic time at construction
};

/// The process's DayClock, started by the first call: the time stamp of every message and the clock of every
/// schedule.
std::uint64_t getMicroSecondsOfDay();
