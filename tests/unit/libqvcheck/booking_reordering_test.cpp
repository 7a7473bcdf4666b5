// Frames that come behind later ones: how far, and whether in time.

#include "tests/unit/libqvcheck/judged.h"

#include <gtest/gtest.h>

namespace {

const patternSender_t swapped = {0x123};

} // namespace

TEST(ReorderedFrame, IsToldWithTheFramesAndTheTimeSinceTheFirstLaterOne) {
    Judged judged;
    judged.see(swapped, 0, 10).see(swapped, 12, 15).see(swapped, 10, 12).see(swapped, 15, 20);
    judged.see(swapped, 21, 22).see(swapped, 20, 21).see(swapped, 22, 30);
    const streamSummary_t s = only(judged.end());
    ASSERT_EQ(judged.findings.size(), 3U);
    EXPECT_EQ(judged.findings[0].extent, 3U);
    EXPECT_EQ(judged.findings[0].span, 3 * Judged::millisecond);
    EXPECT_EQ(judged.findings[1].extent, 4U);
    EXPECT_EQ(judged.findings[1].span, 4 * Judged::millisecond);
    EXPECT_EQ(judged.findings[2].extent, 1U);
    EXPECT_EQ(s.maxExtent, 4U);
    EXPECT_EQ(s.maxLateTime, 4 * Judged::millisecond);
    EXPECT_EQ(s.totals.reordered, 3U);
    EXPECT_EQ(s.totals.overtaken, 2U);
}

TEST(ReorderedFrame, MayBeTheFirstOfAStream) {
    Judged judged;
    judged.see(swapped, 1, 5).see(swapped, 0, 1).see(swapped, 5, 10);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.first, swapped.start);
    EXPECT_EQ(s.totals.reordered, 1U);
    EXPECT_EQ(s.totals.overtaken, 1U);
    EXPECT_EQ(judged.first(FK_REORDERED).extent, 4U);
}

TEST(ReorderedFrames, AreOvertakenOnceWhereTheFirstFillsNotTheGap) {
    Judged judged;
    judged.see(swapped, 2, 5).see(swapped, 0, 1).see(swapped, 1, 2).see(swapped, 5, 10);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.reordered, 2U);
    EXPECT_EQ(s.totals.overtaken, 1U);
    ASSERT_EQ(judged.findings.size(), 2U);
    EXPECT_EQ(judged.findings[1].extent, 4U);
}

TEST(ReorderedFrame, IsAtTheWrapOfTheIdentifierUpTo32FramesFromIt) {
    for (const std::uint32_t place : {0x7DFU, 0x7E0U, 0x820U, 0x821U}) {
        SCOPED_TRACE(place);
        const std::uint32_t k = place - swapped.start;
        Judged judged;
        judged.see(swapped, 0, k).see(swapped, k + 1, k + 2).see(swapped, k, k + 1).see(swapped, k + 2, 2000);
        EXPECT_EQ(only(judged.end()).orderedByIdentifier, place == 0x7E0 || place == 0x820);
    }
}

TEST(DamagedFrame, ThatHadToWaitWasOvertakenByNone) {
    Judged judged;
    receivedFrame_t upset = swapped.frame(50);
    upset.data[0] ^= 0xFF; // sound in itself, and far away
    judged.see(swapped, 0, 50).see(upset).see(swapped, 51, 3000);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.corrupted, 1U);
    EXPECT_EQ(s.totals.reordered, 0U);
    EXPECT_EQ(s.totals.overtaken, 0U);
}

TEST(LateFrame, IsToldWithTheTimeSinceTheNextOneThatCame) {
    for (const std::uint32_t missing : {1U, 2U, 5U}) {
        SCOPED_TRACE(missing);
        demands_t demands;
        demands.wait = 100 * Judged::millisecond;
        Judged judged(demands);
        judged.see(swapped, 0, 10).see(swapped, 10 + missing, 11 + missing);
        const std::int64_t shown = judged.time;
        judged.see(swapped, 11 + missing, 500).see(swapped, 10, 11);
        EXPECT_EQ(judged.first(FK_LATE).span, judged.time - shown);
    }
}

TEST(LateFrame, ThatComesAgainIsRepeated) {
    demands_t demands;
    demands.wait = 20 * Judged::millisecond;
    Judged judged(demands);
    judged.see(swapped, 0, 10).see(swapped, 11, 50).see(swapped, 10, 11).see(swapped, 10, 11);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.lost, 1U);
    EXPECT_EQ(s.totals.late, 1U);
    EXPECT_EQ(s.totals.repeated, 1U);
}

TEST(DamagedRepeat, IsCorruptedUnlessTheFirstWasDamagedInTheSameWay) {
    receivedFrame_t hurt = swapped.frame(9);
    hurt.data[6] ^= 4;
    receivedFrame_t other = swapped.frame(9);
    other.data[6] ^= 8;
    for (const auto& first : {swapped.frame(9), other, hurt}) {
        Judged judged;
        judged.see(swapped, 0, 9).see(first).see(hurt).see(swapped, 10, 20);
        const bool copy = first.data[6] == hurt.data[6];
        const streamSummary_t s = only(judged.end());
        EXPECT_EQ(s.totals.corruptedRepeats, 1U);
        EXPECT_EQ(judged.found(FK_CORRUPTED), s.totals.corrupted + (copy ? 0 : 1));
        EXPECT_EQ(judged.found(FK_REPEATED), copy ? 1U : 0U);
    }
}

TEST(DamagedRepeat, OfAFrameThatTheSenderCorruptsAsDemandedIsRepeated) {
    demands_t demands;
    demands.errorPeriod = 50;
    Judged judged(demands);
    judged.seeInjected(swapped, 0, 100, 50).seeInjected(swapped, 99, 200, 50);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.injected, 4U);
    EXPECT_EQ(s.totals.corruptedRepeats, 1U);
    EXPECT_EQ(judged.found(FK_CORRUPTED), 0U);
    EXPECT_EQ(judged.found(FK_REPEATED), 1U);
    EXPECT_EQ(judged.first(FK_REPEATED).span, Judged::millisecond);
}
