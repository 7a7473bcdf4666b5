#include "libqvcheck/hostclock.h"
#include "tests/fakes/fakesystem.h"

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t microsecond = 1000;

/// What is measured on a host that oversleeps once, by so many ns.
std::int64_t latenessAfter(std::int64_t late) {
    std::int64_t now = 0;
    int sleeps = 0;
    FakeSystem system;
    system.clock_gettime = [&now](clockid_t, timespec* time) {
        time->tv_sec = 0;
        time->tv_nsec = static_cast<long>(now);
        return 0;
    };
    system.clock_nanosleep = [&](clockid_t, int, const timespec* time, timespec*) {
        now += time->tv_nsec + (++sleeps == 7 ? late : 0);
        return 0;
    };
    return measuredLateness();
}

} // namespace

TEST(MeasuredLateness, IsTwiceTheLongestDelayOfAWakeUp) {
    EXPECT_EQ(latenessAfter(5000 * microsecond), 10000 * microsecond);
    EXPECT_EQ(latenessAfter(501 * microsecond), 1002 * microsecond);
}

TEST(MeasuredLateness, IsAtLeastAMillisecond) {
    EXPECT_EQ(latenessAfter(499 * microsecond), 1000 * microsecond);
    EXPECT_EQ(latenessAfter(0), 1000 * microsecond);
}
