// The places where counters wrap, zones end and senders begin again.

#include "tests/unit/libqvcheck/judged.h"

#include <string>

#include <gtest/gtest.h>

class Start : public testing::TestWithParam<patternSender_t> {};

TEST_P(Start, IsFoundAndNothingIsMissing) {
    Judged judged;
    const streamSummary_t s = only(judged.see(GetParam(), 0, 5000).end());
    EXPECT_TRUE(s.startKnown);
    EXPECT_EQ(s.start, GetParam().start);
    EXPECT_EQ(s.totals.intact, 5000U);
    EXPECT_TRUE(judged.findings.empty());
}

INSTANTIATE_TEST_SUITE_P(Of, Start,
                         testing::Values(patternSender_t{0}, patternSender_t{0x7FF}, patternSender_t{0x7FE},
                                         patternSender_t{0x1FFFFFFF, true}, patternSender_t{0, true},
                                         patternSender_t{0x7FF, false, 64, true}));

TEST(Counter, WrapsAfterAllItsBits) {
    patternSender_t sender = {0xFFFFFFF0}; // joined after 6 days
    Judged judged;
    judged.see(sender, 0, 2).see(sender, 5, 300); // three are lost before the wrap
    const streamSummary_t s = only(judged.end());
    EXPECT_FALSE(s.startKnown);
    EXPECT_EQ(s.totals.expected, 300U);
    EXPECT_EQ(s.totals.lost, 3U);
    EXPECT_EQ(s.last, sender.start + 299);
}

class Identifier1 : public testing::Test {
protected:
    // Frames 2 and 3 have the counters 800 and 801, and both have the identifier 1.
    const patternSender_t sender = {0x7FE};
    Judged judged;
};

TEST_F(Identifier1, IsMissedTwice) {
    judged.see(sender, 0, 2).see(sender, 4, 100);
    EXPECT_EQ(only(judged.end()).totals.lost, 2U);
}

TEST_F(Identifier1, IsRepeatedTwice) {
    judged.see(sender, 0, 4).see(sender, 2, 3).see(sender, 4, 5).see(sender, 3, 4).see(sender, 5, 100);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.repeated, 2U);
    EXPECT_EQ(s.totals.intact, 100U);
}

TEST_F(Identifier1, IsSwapped) {
    judged.see(sender, 0, 2).see(sender, 3, 4).see(sender, 2, 3).see(sender, 4, 100);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.reordered, 1U);
    EXPECT_EQ(s.totals.overtaken, 1U);
    EXPECT_TRUE(s.orderedByIdentifier);
}

TEST_F(Identifier1, IsKeptInADamagedCounter) {
    for (const std::uint32_t number : {2U, 3U}) {
        Judged once;
        receivedFrame_t hurt = sender.frame(number);
        hurt.data[3] ^= 1; // each is the other's counter now
        once.see(sender, 0, number).see(hurt).see(sender, number + 1, 700);
        const streamSummary_t s = only(once.end());
        EXPECT_EQ(s.totals.corrupted, 1U);
        EXPECT_EQ(once.first(FK_CORRUPTED).first, 0x7FEU + number);
    }
}

class Restart : public testing::TestWithParam<std::uint32_t> {};

TEST_P(Restart, IsTold) {
    const patternSender_t sender = {0x123};
    Judged judged;
    judged.see(sender, 0, GetParam()).see(sender, 0, 3000);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.restarts, 1U);
    EXPECT_EQ(s.totals.intact, GetParam() + 3000U);
    EXPECT_EQ(s.totals.repeated, 0U);
    ASSERT_EQ(judged.findings.size(), 1U);
    EXPECT_EQ(judged.findings[0].kind, FK_RESTART);
    EXPECT_TRUE(judged.findings[0].began);
    EXPECT_EQ(judged.findings[0].first, 0x123U);
    EXPECT_EQ(judged.findings[0].last, 0x122U + GetParam());
}

INSTANTIATE_TEST_SUITE_P(After, Restart, testing::Values(3, 4, 63, 64, 65, 1023, 1024, 1025, 5000));

class Gap : public testing::TestWithParam<std::uint32_t> {};

TEST_P(Gap, IsLostWhole) {
    const patternSender_t sender = {0x123};
    Judged judged;
    judged.see(sender, 0, 500);
    judged.pause(GetParam() * Judged::millisecond);
    judged.see(sender, 500 + GetParam(), 3000 + GetParam());
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.lost, GetParam());
    EXPECT_EQ(s.restarts + s.jumps, 0U);
    ASSERT_EQ(judged.findings.size(), 1U);
    EXPECT_EQ(judged.findings[0].kind, FK_LOST);
    EXPECT_EQ(judged.findings[0].first, 0x123U + 500);
    EXPECT_EQ(judged.findings[0].last, 0x123U + 499 + GetParam());
    EXPECT_EQ(judged.findings[0].span, std::int64_t{GetParam() + 1} * Judged::millisecond);
}

INSTANTIATE_TEST_SUITE_P(Of, Gap, testing::Values(1, 62, 63, 64, 65, 1023, 1024, 1025, 70000));

TEST(Gap, BeforeTheLastFrameIsLost) {
    const patternSender_t sender = {0x123};
    Judged judged;
    judged.see(sender, 0, 500).see(sender, 570, 571);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.lost, 70U);
    EXPECT_EQ(s.totals.stray, 0U);
}

TEST(Jump, IsNoLoss) {
    patternSender_t sender = {0x123};
    Judged judged;
    judged.see(sender, 0, 500);
    judged.see(sender, 0x40000000, 0x40000000 + 1500); // no bus carries as many in half a second
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.jumps, 1U);
    EXPECT_EQ(s.totals.lost, 0U);
    EXPECT_EQ(judged.found(FK_JUMP), 1U);
}

TEST(Jump, IsMoreThan1024FramesAndOneForEachMicrosecondSinceTheStreamBegan) {
    const patternSender_t sender = {0x123};
    for (const std::uint32_t absent : {501024U, 501025U}) {
        SCOPED_TRACE(absent);
        Judged judged;
        judged.see(sender, 0, 500).see(sender, 500 + absent, 2000 + absent); // 500 ms after the first one
        const streamSummary_t s = only(judged.end());
        EXPECT_EQ(s.jumps, absent == 501024 ? 0U : 1U);
        EXPECT_EQ(s.totals.lost, absent == 501024 ? absent : 0U);
    }
}

TEST(Block, ThatIsRepeatedIsRepeated) {
    const patternSender_t sender = {0x123};
    for (const std::uint32_t back : {3U, 20U, 63U, 64U, 200U, 900U}) {
        SCOPED_TRACE(back);
        Judged judged;
        judged.see(sender, 0, 1000).see(sender, 1000 - back, 1003 - back).see(sender, 1000, 3000);
        const streamSummary_t s = only(judged.end());
        EXPECT_EQ(s.totals.repeated, 3U);
        EXPECT_EQ(s.totals.intact, 3000U);
        EXPECT_EQ(s.restarts, 0U);
        EXPECT_EQ(judged.found(FK_REPEATED), 3U);
    }
}

TEST(TwoBoards, WithTheSameStartAreOneStreamAndItsRepeats) {
    const patternSender_t sender = {0x123};
    for (const std::uint32_t behind : {1U, 5U, 30U}) {
        SCOPED_TRACE(behind);
        Judged judged;
        judged.see(sender, 0, behind);
        for (std::uint32_t k = behind; k < 1500; ++k) {
            judged.see(sender, k, k + 1).see(sender, k - behind, k - behind + 1);
        }
        judged.see(sender, 1500 - behind, 1500);
        const streamSummary_t s = only(judged.end());
        EXPECT_EQ(s.totals.intact, 1500U);
        EXPECT_EQ(s.totals.repeated, 1500U);
        EXPECT_EQ(s.restarts, 0U);
    }
}

TEST(Stream65, FindsNoRoom) {
    Judged judged;
    for (std::uint32_t k = 0; k < 10; ++k) {
        for (std::uint32_t i = 0; i < 70; ++i) {
            const patternSender_t sender = {0x100 + i};
            judged.see(sender, k, k + 1);
        }
    }
    const summary_t s = judged.end();
    EXPECT_EQ(s.streams.size(), 64U);
    EXPECT_EQ(s.furtherStreams, 60U);
    EXPECT_EQ(s.foreign, 0U);
}

TEST(OneFrame, IsAStreamAtTheEnd) {
    Judged judged;
    const summary_t s = judged.see(patternSender_t{0x123}, 0, 1).end();
    EXPECT_EQ(only(s).totals.intact, 1U);
    EXPECT_EQ(s.foreign, 0U);
}

TEST(Clock, ThatStepsBackChangesNoVerdict) {
    const patternSender_t sender = {0x123};
    Judged judged;
    judged.see(sender, 0, 500).pause(-6000000000).see(sender, 500, 503).see(sender, 505, 3000);
    const summary_t s = judged.end();
    EXPECT_EQ(s.clockSteps, 1U);
    EXPECT_EQ(only(s).totals.lost, 2U);
    EXPECT_EQ(only(s).gaps->count(), 2995U); // not over the step, not over the loss
    EXPECT_EQ(only(s).gaps->max(), Judged::millisecond);
    EXPECT_EQ(s.duration, 2996 * Judged::millisecond);
}
