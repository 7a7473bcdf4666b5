// Frames that came before: repeats, until as many in a row as found a stream say that the counter went back.

#include "tests/unit/libqvcheck/judged.h"

#include <gtest/gtest.h>

namespace {

const patternSender_t sender = {0x123};

} // namespace

TEST(Repeat, OfASilentStreamIsToldAfterTheWait) {
    demands_t demands;
    demands.wait = 300 * Judged::millisecond;
    Judged judged(demands);
    judged.see(sender, 0, 100).see(sender, 90, 91);
    judged.judge.settle(judged.time + demands.wait - 1);
    EXPECT_EQ(judged.found(FK_REPEATED), 0U);
    judged.judge.settle(judged.time + demands.wait);
    EXPECT_EQ(judged.found(FK_REPEATED), 1U);
    EXPECT_EQ(judged.first(FK_REPEATED).time, 100 * Judged::millisecond);
}

TEST(ThreeRepeats, ThatAreNotInARowAreRepeatsThoughTheyBeginAsTheSenderDid) {
    Judged judged;
    judged.see(sender, 0, 20).see(sender, 0, 1).see(sender, 2, 3).see(sender, 4, 5);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.repeated, 3U);
    EXPECT_EQ(s.restarts, 0U);
    EXPECT_EQ(judged.findings.size(), 3U);
}

TEST(CounterThatWentBack, IsToldWithTheTimeOfItsFirstFrame) {
    Judged judged;
    judged.see(sender, 0, 20).see(sender, 0, 100).end();
    EXPECT_EQ(judged.first(FK_RESTART).time, 20 * Judged::millisecond);
}

TEST(CounterThatWentBack, IsToldAfterTheSilenceHoweverLongTheWait) {
    demands_t demands;
    demands.wait = 60000 * Judged::millisecond;
    Judged judged(demands);
    judged.see(sender, 0, 20);
    const std::int64_t last = judged.time;
    judged.see(sender, 0, 3);
    judged.judge.settle(last + 1000 * Judged::millisecond);
    EXPECT_EQ(judged.found(FK_RESTART), 1U);
}

TEST(CounterThatWentBack, GoesBackAgainBeforeItIsKnownAsTheSameSender) {
    Judged judged;
    judged.see(sender, 0, 60).see(sender, 0, 40).see(sender, 37, 40).see(sender, 40, 100);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.restarts, 1U);
    EXPECT_EQ(s.totals.repeated, 3U);
    EXPECT_EQ(s.totals.intact, 160U);
}

TEST(CounterThatWentBack, IsASecondRunThoughALateFrameOfTheFirstComes) {
    Judged judged;
    judged.see(sender, 0, 45).see(sender, 46, 50).see(sender, 0, 3).see(sender, 45, 46).see(sender, 3, 40);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.restarts, 1U);
    EXPECT_EQ(s.totals.intact, 90U);
    EXPECT_EQ(s.totals.reordered, 1U);
    EXPECT_EQ(s.totals.repeated, 0U);
}

TEST(CounterThatWentBack, LeavesNoDoubtWhoseFramesTheyAre) {
    Judged judged;
    judged.see(sender, 0, 20).see(sender, 0, 5).see(sender, 6, 20);
    EXPECT_FALSE(only(judged.end()).ambiguous);
}

TEST(RepeatedBlock, ComesBehindAnotherWhileTheStreamIsSilent) {
    Judged judged;
    judged.see(sender, 0, 1000).see(sender, 100, 103).see(sender, 990, 993).see(sender, 1000, 1100);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.repeated, 6U);
    EXPECT_EQ(s.totals.intact, 1100U);
    EXPECT_EQ(judged.findings.size(), 2U); // one for each block
}

TEST(RepeatedBlock, IsCountedWhereThereIsNoRoomForAnotherStream) {
    Judged judged;
    for (std::uint32_t i = 0; i < 64; ++i) {
        judged.see(patternSender_t{0x100 + i}, 0, 20);
    }
    judged.see(patternSender_t{0x100}, 10, 14).see(patternSender_t{0x100}, 20, 30);
    const summary_t s = judged.end();
    ASSERT_EQ(s.streams.size(), 64U);
    EXPECT_EQ(s.streams[0].totals.repeated, 4U);
    EXPECT_EQ(s.streams[0].totals.intact, 30U);
    EXPECT_EQ(s.furtherStreams, 0U);
}

TEST(CounterThatWentBack, FindsTheRoomOfAStreamThatProvesToBeAnother) {
    Judged judged;
    const auto sendAll = [&judged](std::uint32_t i) {
        for (std::uint32_t k = 0; k < 20; ++k) {
            judged.pause(-900000).see(patternSender_t{0x100 + i}, k, k + 1);
        }
    };
    for (std::uint32_t i = 0; i < 63; ++i) {
        sendAll(i);
    }
    sendAll(0); // stream 64, and no more than a second run of the first
    sendAll(1);
    const summary_t s = judged.end();
    ASSERT_EQ(s.streams.size(), 63U);
    EXPECT_EQ(s.streams[0].restarts, 1U);
    EXPECT_EQ(s.streams[1].restarts, 1U);
    EXPECT_EQ(s.streams[1].totals.intact, 40U);
}

TEST(CounterThatWentBack, IsARepeatedBlockWhereNeitherBeginningWasSeen) {
    Judged judged;
    judged.see(sender, 20, 100).see(sender, 20, 200); // the same frames either way
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.restarts, 0U);
    EXPECT_EQ(s.totals.repeated, 80U);
    EXPECT_EQ(s.totals.intact, 180U);
}
