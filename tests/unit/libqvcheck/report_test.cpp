#include "libqvcheck/report.h"

#include <gtest/gtest.h>

TEST(BrokenLines, AreTooManyFromTwoInAHundred) {
    inputCounts_t counts;
    EXPECT_FALSE(isTooBroken(counts));
    counts.frames = 99;
    counts.broken = 1;
    EXPECT_FALSE(isTooBroken(counts));
    counts.frames = 98;
    EXPECT_TRUE(isTooBroken(counts));
}

TEST(DateText, GivesADateOnlyWhereTheClockHasOne) {
    EXPECT_EQ(dateText(1795277800179105999, 'T'), "2026-11-21T16:16:40.179105Z");
    EXPECT_EQ(dateText(1795277800179105999, ' '), "2026-11-21 16:16:40 UTC");
    EXPECT_EQ(dateText(86399999999000, 'T'), "");
    EXPECT_EQ(dateText(receivedFrame_t::noTime, ' '), "");
}
