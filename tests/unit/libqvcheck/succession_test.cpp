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

TEST(RepeatedBlock, IsSeenAmongTheFramesOfItsTime) {
    demands_t demands;
    demands.fd = true; // the sender's are not
    for (const std::uint32_t first : {190U, 50U}) {
        SCOPED_TRACE(first);
        Judged judged(demands);
        judged.see(tenthSender, 0, 200).see(tenthSender, first, first + 10).see(tenthSender, 200, 210);
        const streamSummary_t s = only(judged.end());
        EXPECT_EQ(s.totals.repeated, 10U);
        ASSERT_EQ(s.series->size(), 3U);
        EXPECT_EQ((*s.series)[2].frames, 20U);
        EXPECT_EQ(s.wrongFormat, 220U);
        EXPECT_EQ(judged.found(FK_FORMAT), 220U);
    }
}

class SecondRun : public testing::Test {
protected:
    static demands_t strict() {
        demands_t demands = demandingStream(0x7FE);
        demands.fd = true; // the sender's are not
        demands.loop = 15;
        return demands;
    }

    SecondRun() {
        judged.see(twice, 0, 1).see(twice, 3, 4).see(twice, 1, 3); // at the identifier's wrap
        receivedFrame_t own = twice.frame(4);
        own.own = true;
        judged.see(own).see(twice, 5, 8).see(twice, 9, 20);
        for (unsigned run = 0; run < 2; ++run) {
            judged.pause(2000 * Judged::millisecond).see(twice, 0, 20);
        }
        judged.see(twice, 0x40000000, 0x40000000 + 20);
        summary = judged.end();
    }

    const patternSender_t twice = {0x7FE};
    Judged judged{strict()};
    summary_t summary;
};

TEST_F(SecondRun, HasAllThatTheFirstOneHad) {
    const streamSummary_t s = only(summary);
    EXPECT_EQ(s.restarts, 2U);
    EXPECT_EQ(s.jumps, 1U);
    EXPECT_EQ(s.totals.intact, 79U);
    EXPECT_EQ(s.totals.lost, 1U);
    EXPECT_EQ(s.causes[LC_BEFORE], 1U);
    EXPECT_EQ(s.totals.reordered, 2U);
    EXPECT_TRUE(s.orderedByIdentifier);
    EXPECT_EQ(s.maxExtent, 2U);
    EXPECT_EQ(s.maxLateTime, 2 * Judged::millisecond);
    EXPECT_TRUE(s.own);
    EXPECT_EQ(s.surplus, 15U);
    EXPECT_EQ(s.wrongFormat, 79U);
    EXPECT_EQ(s.gaps->count(), 13U + 3 * 19);
}

TEST_F(SecondRun, IsToldOfEachFrameThatBreaksADemandOnce) {
    EXPECT_EQ(judged.found(FK_SURPLUS), only(summary).surplus);
    EXPECT_EQ(judged.found(FK_FORMAT), only(summary).wrongFormat);
}

TEST_F(SecondRun, HasTheSeriesOfTheFirstOne) {
    std::uint32_t frames = 0;
    const auto& series = *only(summary).series;
    for (std::size_t i = 0; i < series.size(); ++i) {
        frames += series[i].frames;
    }
    EXPECT_EQ(frames, 79U);
    EXPECT_EQ(series[0].frames, 19U);
}

TEST_F(SecondRun, IsThatOfTheDemandedStream) {
    EXPECT_TRUE(only(summary).demanded);
    EXPECT_EQ(judged.found(FK_ABSENT), 0U);
}

TEST(IntervalOfASecondRun, HasTheFramesOfBoth) {
    demands_t demands;
    demands.intervals = true;
    Judged judged(demands);
    judged.see(tenthSender, 0, 20);
    ASSERT_EQ(judged.judge.interval().size(), 1U);
    judged.see(tenthSender, 20, 30).see(tenthSender, 31, 40).pause(2000 * Judged::millisecond);
    judged.see(tenthSender, 0, 20).judge.settle(judged.time);
    const auto interval = judged.judge.interval();
    ASSERT_EQ(interval.size(), 1U);
    EXPECT_EQ(interval[0].frames, 39U);
    EXPECT_EQ(interval[0].totals.intact, 39U);
    EXPECT_EQ(interval[0].totals.lost, 1U);
    EXPECT_EQ(interval[0].gapCount, 18U + 19);
    judged.see(tenthSender, 20, 25).see(tenthSender, 26, 30);
    const auto next = judged.judge.interval();
    ASSERT_EQ(next.size(), 1U);
    EXPECT_EQ(next[0].totals.intact, 9U);
    EXPECT_EQ(next[0].totals.open, 1U);
    EXPECT_EQ(next[0].gapCount, 8U);
    const auto last = judged.judge.interval();
    EXPECT_EQ(last[0].totals.intact, 0U);
    EXPECT_EQ(last[0].totals.open, 1U); // not since then: it is now
    EXPECT_EQ(last[0].gapCount, 0U);
}
