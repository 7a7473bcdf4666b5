// Recordings that leave frames out and say so, as a dump does.

#include "tests/unit/libqvcheck/demanding.h"
#include "tests/unit/libqvcheck/judged.h"

#include <gtest/gtest.h>

namespace {

const patternSender_t leftOutSender = {0x123};

/// Says that the recording leaves out so many frames before it.
receivedFrame_t behind(std::uint32_t leftOut, receivedFrame_t frame) {
    frame.leftOut = true;
    frame.dropped = leftOut;
    return frame;
}

/// Sound in itself, and far away.
receivedFrame_t upset(std::uint32_t number) {
    receivedFrame_t frame = leftOutSender.frame(number);
    frame.data[0] ^= 0xFF;
    return frame;
}

} // namespace

TEST(FramesLeftOut, AreNeitherLostNorExpected) {
    Judged judged;
    judged.see(leftOutSender, 0, 100).see(behind(500, leftOutSender.frame(600))).see(leftOutSender, 601, 700);
    judged.end();
    EXPECT_EQ(judged.judge.totals().expected, 200U);
    EXPECT_TRUE(judged.findings.empty());
}

TEST(FramesLeftOut, EndWithADamagedOneUpTo16BeforeTheNextSoundOne) {
    for (const std::uint32_t before : {1U, 15U, 16U, 17U}) {
        SCOPED_TRACE(before);
        Judged judged;
        judged.see(leftOutSender, 0, 100).see(behind(500, upset(600))).see(leftOutSender, 600 + before, 700);
        judged.end();
        EXPECT_EQ(judged.judge.totals().corrupted, before <= 16 ? 1U : 0U);
        EXPECT_EQ(judged.judge.totals().lost, 0U);
        EXPECT_EQ(judged.judge.totals().open, 0U);
    }
}

TEST(FramesLeftOut, MayBeMoreThanAnyStreamHas) {
    Judged judged;
    judged.see(leftOutSender, 0, 100).see(behind(UINT32_MAX, leftOutSender.frame(0x40000000)));
    judged.see(leftOutSender, 0x40000001, 0x40000010).end();
    EXPECT_EQ(judged.judge.totals().expected, 116U);
    EXPECT_TRUE(judged.findings.empty());
}

TEST(FramesLeftOut, ExplainNoGapThatIsLargerByAWindow) {
    for (const std::uint32_t gap : {1033U, 1034U, 5000U}) {
        SCOPED_TRACE(gap);
        Judged judged;
        judged.see(leftOutSender, 0, 100).pause(gap * Judged::millisecond);
        judged.see(behind(10, leftOutSender.frame(100 + gap))).see(leftOutSender, 101 + gap, 3000 + gap);
        judged.end();
        EXPECT_EQ(judged.found(FK_LOST), gap <= 1033 ? 0U : gap);
    }
}

TEST(FramesLeftOut, ExplainNoLossBehindTheNextSoundFrame) {
    Judged judged;
    judged.see(leftOutSender, 0, 100).see(behind(500, leftOutSender.frame(100)));
    judged.see(leftOutSender, 103, 200).end();
    EXPECT_EQ(judged.found(FK_LOST), 2U);
}

TEST(FramesLeftOut, ExplainNoLossBeforeThem) {
    for (const std::uint32_t left : {500U, 3000U}) {
        SCOPED_TRACE(left);
        Judged judged;
        judged.see(leftOutSender, 0, 11).see(leftOutSender, 12, 20);
        judged.see(behind(left, leftOutSender.frame(20 + left))).see(leftOutSender, 21 + left, 100 + left);
        judged.end();
        EXPECT_EQ(judged.first(FK_LOST).first, leftOutSender.start + 11);
        EXPECT_EQ(judged.found(FK_LOST), 1U);
    }
}

TEST(FramesLeftOut, ExplainNoLossOnAnotherInterface) {
    Judged judged;
    receivedFrame_t elsewhere = behind(500, {});
    elsewhere.interface = 1;
    judged.see(leftOutSender, 0, 100).see(elsewhere).see(leftOutSender, 105, 200).end();
    EXPECT_EQ(judged.found(FK_LOST), 5U);
}

TEST(FramesLeftOut, AreNoSilenceAndNoGapBetweenFrames) {
    demands_t demands;
    demands.maxGap = 100 * Judged::millisecond;
    Judged judged(demands);
    judged.see(leftOutSender, 0, 100).pause(500 * Judged::millisecond);
    judged.see(behind(500, leftOutSender.frame(600))).see(leftOutSender, 601, 700);
    EXPECT_EQ(only(judged.end()).gaps->max(), Judged::millisecond);
    EXPECT_TRUE(judged.findings.empty());
}

TEST(FramesLeftOut, ComeBehindADamagedOne) {
    Judged judged;
    judged.see(leftOutSender, 0, 100)
        .see(upset(100))
        .see(behind(500, leftOutSender.frame(601)))
        .see(leftOutSender, 602, 700);
    judged.end();
    EXPECT_EQ(judged.judge.totals().corrupted, 1U);
    EXPECT_EQ(judged.judge.totals().corruptedRepeats, 0U);
    EXPECT_EQ(judged.findings.size(), 1U);
}

TEST(FramesLeftOut, TakeNoPartInTheInjectedErrors) {
    Judged judged(demandingErrors(10));
    for (std::uint32_t k = 0; k < 700; ++k) {
        const receivedFrame_t frame = leftOutSender.injected(k, 10);
        if (k < 100 || k >= 600) {
            judged.see(k == 600 ? behind(500, frame) : frame);
        }
    }
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.injection.found, 20U);
    EXPECT_EQ(s.injection.lost, 0U);
    EXPECT_TRUE(judged.findings.empty());
}
