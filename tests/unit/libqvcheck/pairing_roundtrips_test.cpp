#include "tests/unit/libqvcheck/exchange.h"

#include <gtest/gtest.h>

namespace {

class RoundTrip : public ExchangeTest {};

void expectRoundTrips(const summary_t& s, std::uint64_t measured) {
    ASSERT_EQ(s.pairs.size(), 1U);
    EXPECT_EQ(s.pairs[0].answered, 2000U);
    EXPECT_EQ(s.pairs[0].roundTrips->count(), measured);
    EXPECT_EQ(s.pairs[0].roundTrips->min(), roundTrip);
    EXPECT_EQ(s.pairs[0].roundTrips->max(), roundTrip);
}

} // namespace

TEST_P(RoundTrip, IsMeasuredForEveryFrame) {
    Judged judged(answered());
    const summary_t s = run(judged, x);
    expectRoundTrips(s, 2000);
    EXPECT_TRUE(judged.findings.empty());
}

TEST_P(RoundTrip, IsNotMeasuredWhereTheClockWasSetInBetween) {
    const std::int64_t day = 86400000 * Judged::millisecond;
    x.clockSet = {{400, -30000 * Judged::millisecond}, {401, 2 * day}, {900, -2 * day}};
    Judged judged(answered());
    const summary_t s = run(judged, x);
    // On two interfaces the clock of the frames steps with the next frame, 402 and 901.
    expectRoundTrips(s, x.twoInterfaces ? 1995 : 1997);
    EXPECT_EQ(s.pairs[0].early, 0U);
    EXPECT_TRUE(judged.findings.empty());
}

TEST_P(RoundTrip, IsMeasuredThoughTheClocksOfTheInterfacesMissedDifferentTimes) {
    x.clockSet = {{400, -30000 * Judged::millisecond}};
    x.answersLost = {399}; // 4 ms without a stamp when the clock is set, and 2 ms on the other interface
    Judged judged(answered());
    const pairSummary_t pair = run(judged, x).pairs.at(0);
    EXPECT_EQ(pair.early, 0U);
    EXPECT_EQ(pair.roundTrips->min(), roundTrip);
    EXPECT_EQ(pair.roundTrips->max(), roundTrip);
}

INSTANTIATE_TEST_SUITE_P(OnTwoInterfaces, RoundTrip, testing::Bool());

TEST(AnswerBeforeItsFrame, IsNotEarlyWhereTheClockWasSetInBetween) {
    const patternSender_t back = {0x101, false, 8, true};
    for (const bool set : {false, true}) {
        Judged judged;
        const auto see = [&](receivedFrame_t f, std::int64_t ms, std::uint8_t interface) {
            f.time = ms * Judged::millisecond;
            f.interface = interface;
            judged.judge.judge(f);
        };
        for (std::int64_t k = 0; k < 20; ++k) {
            const auto number = static_cast<std::uint32_t>(k);
            see(patternSender_t{0x101}.frame(number), k * 10, 0);
            see(back.seen(back.frame(number)), k * 10 + 1, 1);
        }
        const std::int64_t later = set ? 86400000 : 0;
        see(back.seen(back.frame(21)), 210, 1);
        see(patternSender_t{0x101}.frame(20), 211 + later, 0);
        see(patternSender_t{0x101}.frame(21), 212 + later, 0);
        EXPECT_EQ(judged.end().pairs.at(0).early, set ? 0U : 1U);
    }
}

TEST(RoundTrips, ThatAreTooLongOrNegativeAreTold) {
    demands_t demands = answered();
    demands.maxRtt = 50 * microsecond;
    Judged judged(demands);
    exchange_t x;
    x.frames = 100;
    const summary_t s = run(judged, x);
    EXPECT_GE(s.pairs[0].slow, 90U);
    EXPECT_EQ(judged.found(FK_SLOW), s.pairs[0].slow);
    EXPECT_EQ(judged.first(FK_SLOW).span, roundTrip);

    Judged early(answered());
    const patternSender_t out = {0x101};
    const patternSender_t back = {0x101, false, 8, true};
    for (std::uint32_t k = 0; k < 100; ++k) { // each answer is there before its frame
        early.see(back, k, k + 1).see(out, k, k + 1);
    }
    EXPECT_EQ(early.end().pairs[0].early, 100U);
    EXPECT_EQ(early.found(FK_EARLY), 100U);
}

TEST(RoundTrips, OfMoreThan200GapsBeforeAnswersGoMissingHintAtAFullQueue) {
    const patternSender_t out = {0x101};
    const patternSender_t back = {0x101, false, 8, true};
    for (const std::uint32_t gaps : {200U, 201U}) {
        Judged judged(answered());
        const auto see = [&judged](receivedFrame_t f, std::uint32_t ms) {
            f.time = ms * Judged::millisecond;
            judged.judge.judge(f);
        };
        for (std::uint32_t ms = 0; ms < 900; ++ms) { // a frame each, and none is answered from 600 on
            see(out.frame(ms), ms);
            if (ms >= gaps && ms < 600) {
                see(back.seen(back.frame(ms - gaps)), ms);
            }
        }
        judged.judge.settle(3000 * Judged::millisecond);
        const pairSummary_t pair = judged.end().pairs.at(0);
        EXPECT_GT(pair.unanswered, 0U);
        EXPECT_EQ(pair.roundTrips->max(), gaps * Judged::millisecond);
        EXPECT_EQ(pair.queueHint, gaps > 200) << gaps;
    }
}
