#include "libqvcheck/stampclock.h"

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t noTime = receivedFrame_t::noTime;
constexpr std::int64_t stampSecond = 1000000000;
constexpr std::int64_t stampHour = 3600 * stampSecond;
constexpr std::int64_t stamp = 1000 * stampSecond;

} // namespace

TEST(StampClock, TakesAStampUpToAnHourAheadForTime) {
    StampClock clock(stamp, 5);
    EXPECT_FALSE(clock.read(stamp + stampHour));
    EXPECT_EQ(clock.time(), 5 + stampHour);
    EXPECT_EQ(clock.steps(), 0U);
    EXPECT_EQ(clock.timeAt(stamp + 2 * stampHour), 5 + 2 * stampHour);
    EXPECT_EQ(clock.timeAt(stamp + 2 * stampHour + 1), clock.time());
}

TEST(StampClock, TakesAStampThatIsFartherAheadOrBehindForAStep) {
    for (const std::int64_t other : {stamp + stampHour + 1, stamp - 1, std::int64_t{0}}) {
        StampClock clock(stamp, 5);
        EXPECT_EQ(clock.timeAt(other), 5);
        EXPECT_TRUE(clock.read(other));
        EXPECT_EQ(clock.time(), 5);
        EXPECT_EQ(clock.steps(), 1U);
        EXPECT_EQ(clock.lastStep(), 5);
        EXPECT_FALSE(clock.read(other + 7)); // goes on from there
        EXPECT_EQ(clock.time(), 12);
        EXPECT_EQ(clock.offset(), other - 5);
        EXPECT_EQ(clock.lastStep(), 5);
    }
}

TEST(StampClock, TakesAnyStampAheadForTimeWhereFramesWereLeftOut) {
    StampClock clock(stamp, 0);
    EXPECT_FALSE(clock.read(stamp + 3 * stampHour, true));
    EXPECT_EQ(clock.time(), 3 * stampHour);
    EXPECT_TRUE(clock.read(stamp, true));
    EXPECT_EQ(clock.time(), 3 * stampHour);
}

TEST(StampClock, StandsStillWithoutStamps) {
    StampClock clock(stamp, 5);
    EXPECT_FALSE(clock.read(noTime));
    EXPECT_EQ(clock.time(), 5);
    EXPECT_EQ(clock.timeAt(noTime), 5);
    EXPECT_FALSE(clock.read(stamp + 3));
    EXPECT_EQ(clock.time(), 8);
}

TEST(StampClock, RunsFromTheFirstStampOn) {
    StampClock clock(noTime, 5);
    EXPECT_EQ(clock.offset(), 0);
    EXPECT_EQ(clock.timeAt(stamp), 5);
    EXPECT_FALSE(clock.read(noTime));
    EXPECT_FALSE(clock.read(stamp));
    EXPECT_EQ(clock.time(), 5);
    EXPECT_FALSE(clock.read(stamp + 3));
    EXPECT_EQ(clock.time(), 8);
    EXPECT_EQ(clock.steps(), 0U);
}

TEST(StampClock, KnowsAStepThatAnotherInterfaceShowed) {
    StampClock clock(stamp, 5);
    EXPECT_LT(clock.lastStep(), 0);
    clock.read(stamp + 3);
    clock.distrust();
    EXPECT_EQ(clock.lastStep(), 8);
    EXPECT_EQ(clock.steps(), 0U);
}
