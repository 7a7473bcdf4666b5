#include "libqvcheck/hostclock.h"

#include "libqvutil/utility.h"

#include <algorithm>
#include <ctime>

namespace {

std::int64_t nanosecondsOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return std::int64_t{now.tv_sec} * nsPerSecond + now.tv_nsec;
}

} // namespace

std::int64_t monotonicNanoseconds() {
    return nanosecondsOf(CLOCK_MONOTONIC);
}

std::int64_t systemNanoseconds() {
    return nanosecondsOf(CLOCK_REALTIME);
}

std::int64_t measuredLateness() {
    constexpr int sleeps = 25;
    constexpr std::int64_t sleep = 1000000;
    std::int64_t latest = 0;
    for (int i = 0; i < sleeps; ++i) {
        const std::int64_t before = monotonicNanoseconds();
        microsleep(sleep / 1000, false);
        latest = std::max(latest, monotonicNanoseconds() - before - sleep);
    }
    return std::max(2 * latest, sleep);
}
