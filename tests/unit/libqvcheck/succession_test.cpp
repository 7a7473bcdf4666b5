// What a stream hands on to the one that it turns out to be.

#include "tests/unit/libqvcheck/demanding.h"
#include "tests/unit/libqvcheck/judged.h"

#include <gtest/gtest.h>

namespace {

const patternSender_t tenthSender = {0x123};
constexpr std::uint32_t tenth = 10;

} // namespace

TEST(RepeatedBlock, RepeatsItsInjectedErrors) {
    Judged judged(demandingErrors(tenth));
    judged.seeInjected(tenthSender, 0, 100, tenth)
        .seeInjected(tenthSender, 41, 63, tenth)
        .seeInjected(tenthSender, 100, 200, tenth);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.corrupted, 20U);
    EXPECT_EQ(s.totals.injected, 20U);
    EXPECT_EQ(s.injection.missing, 0U);
    EXPECT_EQ(s.injection.damagedOtherwise, 0U);
    EXPECT_EQ(s.totals.corruptedRepeats, 2U);
    EXPECT_EQ(s.totals.repeated, 20U);
}

TEST(RepeatedBlock, GoesOnWithItsInjectedErrors) {
    Judged judged(demandingErrors(tenth));
    judged.seeInjected(tenthSender, 0, 100, tenth)
        .seeInjected(tenthSender, 81, 125, tenth) // with the frames behind it that did not come before
        .see(tenthSender, 125, 126)
        .seeInjected(tenthSender, 100, 101, tenth)
        .seeInjected(tenthSender, 126, 200, tenth);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.intact, 180U);
    EXPECT_EQ(s.totals.corrupted, 20U);
    EXPECT_EQ(s.totals.injected, 20U);
    EXPECT_EQ(judged.found(FK_UNINJECTED), 0U);
}

TEST(RecognisedInjection, IsRecognisedAgainAfterARestart) {
    Judged judged;
    judged.seeInjected(tenthSender, 0, 100, tenth)
        .pause(2000 * Judged::millisecond)
        .seeInjected(tenthSender, 0, 100, tenth);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.restarts, 1U);
    EXPECT_EQ(s.injection.period, tenth);
    EXPECT_EQ(s.injection.found, 20U);
}
