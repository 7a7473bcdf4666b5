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
    }
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
