#include "tests/unit/libqvcheck/demanding.h"
#include "tests/unit/libqvcheck/judged.h"

#include <gtest/gtest.h>

namespace {

receivedFrame_t remote(std::uint32_t counter, bool extended = false) {
    receivedFrame_t f{};
    const std::uint32_t mask = extended ? CAN_EFF_MASK : CAN_SFF_MASK;
    const std::uint32_t id = (counter & mask) == 0 ? 1 : counter & mask;
    f.canId = id | CAN_RTR_FLAG | (extended ? CAN_EFF_FLAG : 0);
    f.length = 8;
    return f;
}

void seeRemote(Judged& judged, std::uint32_t from, std::uint32_t to) {
    for (std::uint32_t c = from; c < to; ++c) {
        judged.see(remote(c));
    }
}

} // namespace

TEST(RemoteStreams, AreFoundedByEightFramesInARow) {
    Judged judged;
    seeRemote(judged, 0x100, 0x107);
    EXPECT_TRUE(judged.judge.summary().streams.empty());
    EXPECT_EQ(judged.judge.summary().held, 7U);
    seeRemote(judged, 0x107, 0x108);
    EXPECT_EQ(judged.judge.summary().streams.size(), 1U);
    seeRemote(judged, 0x108, 0x120);
    const summary_t s = judged.end();
    ASSERT_EQ(s.streams.size(), 1U);
    EXPECT_EQ(s.streams[0].role, SR_REMOTE);
    EXPECT_EQ(s.streams[0].totals.intact, 0x20U);
    EXPECT_EQ(s.streams[0].first, 0x100U);
    EXPECT_EQ(s.remote, 0U);
}

TEST(RemoteStreams, AreNotFoundedByFramesThatSkipOne) {
    Judged judged;
    seeRemote(judged, 0x100, 0x107);
    seeRemote(judged, 0x108, 0x10F);
    const summary_t s = judged.end();
    EXPECT_TRUE(s.streams.empty());
    EXPECT_EQ(s.remote, 14U);
}

TEST(RemoteStreams, CountWhatIsLostRepeatedAndReordered) {
    Judged judged;
    seeRemote(judged, 0x100, 0x110);
    seeRemote(judged, 0x113, 0x114); // 110 to 112 are missing
    seeRemote(judged, 0x111, 0x112);
    seeRemote(judged, 0x113, 0x120); // 113 once more
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.lost, 2U);
    EXPECT_EQ(s.totals.reordered, 1U);
    EXPECT_EQ(s.totals.repeated, 1U);
    EXPECT_EQ(s.totals.expected, 0x20U);
}

TEST(RemoteStreams, CountOnOverTheWrapOfTheIdentifier) {
    Judged judged;
    seeRemote(judged, 0x7F0, 0x1805); // 1 twice at each wrap
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.intact, 0x1805U - 0x7F0U);
    EXPECT_EQ(s.totals.repeated, 0U);
}

TEST(RemoteStreams, BeginAtZeroWithTwoFramesOfIdentifierOne) {
    Judged judged;
    seeRemote(judged, 0, 20);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.intact, 20U);
    EXPECT_EQ(s.first, 0U);
}

TEST(RemoteStreams, ThatAreDemandedBeginWithOneFrame) {
    Judged judged(demandingStream(0x123 | CAN_RTR_FLAG));
    judged.see(remote(0x125)); // two are lost
    const streamSummary_t s = only(judged.end());
    EXPECT_TRUE(s.demanded);
    EXPECT_EQ(s.totals.lost, 2U);
    EXPECT_EQ(judged.found(FK_ABSENT), 0U);
}

TEST(RemoteStreams, ThatAreDemandedAndNeverSeenAreAbsent) {
    Judged judged(demandingStream(0x123 | CAN_RTR_FLAG));
    judged.see(patternSender_t{0x123}, 0, 10); // data frames are none of it
    judged.end();
    EXPECT_EQ(judged.found(FK_ABSENT), 1U);
    EXPECT_EQ(judged.first(FK_ABSENT).first, 0x123U | CAN_RTR_FLAG);
}

TEST(RemoteStreams, LoseTheFramesOfAnOutage) {
    Judged judged;
    seeRemote(judged, 0x100, 0x110);
    judged.pause(500 * Judged::millisecond);
    seeRemote(judged, 0x200, 0x220);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.lost, 0xF0U);
    EXPECT_EQ(s.restarts, 0U);
}

TEST(RemoteStreams, TakeAMissingFrameUpTo512BehindTheNext) {
    for (const std::uint32_t behind : {511U, 512U, 513U}) {
        SCOPED_TRACE(behind);
        Judged judged;
        seeRemote(judged, 0x100, 0x110);
        seeRemote(judged, 0x111, 0x110 + behind);
        judged.see(remote(0x110)).end();
        EXPECT_EQ(judged.judge.totals().reordered, behind <= 512 ? 1U : 0U);
    }
}

TEST(RemoteStreams, WithBothWidthsStayApart) {
    Judged judged;
    for (std::uint32_t c = 0x100; c < 0x120; ++c) {
        judged.see(remote(c)).see(remote(c, true));
    }
    const summary_t s = judged.end();
    ASSERT_EQ(s.streams.size(), 2U);
    EXPECT_EQ(s.streams[0].totals.intact + s.streams[1].totals.intact, 0x40U);
}
