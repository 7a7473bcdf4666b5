#include "tests/unit/libqvcheck/demanding.h"
#include "tests/unit/libqvcheck/judged.h"

#include <gtest/gtest.h>

namespace {

const patternSender_t classic = {0x123};
const patternSender_t fd = {0x123, false, 64};

} // namespace

TEST(DemandedStream, CountsFromItsFirstFrame) {
    Judged judged(demandingStream(0x123));
    const streamSummary_t s = only(judged.see(classic, 5, 100).end());
    EXPECT_EQ(s.totals.expected, 100U);
    EXPECT_EQ(s.totals.lost, 5U);
    EXPECT_TRUE(s.demanded);
}

TEST(DemandedStream, IsMissedFromItsFirstFrameHoweverLate) {
    for (const std::uint32_t late : {63U, 64U, 1024U, 5000U}) {
        Judged judged(demandingStream(0x123));
        const streamSummary_t s = only(judged.see(classic, late, late + 100).end());
        EXPECT_EQ(s.totals.lost, late);
        EXPECT_EQ(judged.found(FK_LOST), late);
        EXPECT_EQ(s.jumps + s.restarts, 0U);
    }
}

TEST(DemandedStream, IsBornByOneFrame) {
    Judged judged(demandingStream(0x123));
    judged.see(classic, 0, 1);
    EXPECT_EQ(judged.streams.size(), 1U);
}

TEST(DemandedStream, ThatIsNeverSeenIsAbsent) {
    Judged judged(demandingStream(0x124));
    judged.see(classic, 0, 10).end();
    EXPECT_EQ(judged.found(FK_ABSENT), 1U);
}

TEST(DemandedStreams, WithEqualLowBytesAreToldApartFromTheFirstFrame) {
    demands_t demands;
    demands.ids = {0x100, 0x200, 0x300};
    Judged judged(demands);
    for (std::uint32_t k = 0; k < 300; ++k) {
        for (const std::uint32_t id : demands.ids) {
            judged.see(patternSender_t{id}, k, k + 1);
        }
    }
    const summary_t s = judged.end();
    EXPECT_EQ(s.streams.size(), 3U);
    EXPECT_TRUE(judged.findings.empty());
}

TEST(DemandedNumber, IsDemandedOfAStreamWhoseFirstFramesWereNotSeen) {
    demands_t demands;
    demands.loop = 1000;
    const struct {
        std::uint32_t from, to, lost, surplus;
    } runs[] = {{1, 900, 101, 0}, {300, 1000, 300, 0}, {1, 1001, 0, 0}, {1, 1499, 0, 498}};
    for (const auto& run : runs) {
        Judged judged(demands);
        judged.see(classic, run.from, run.to).end();
        EXPECT_EQ(judged.found(FK_LOST), run.lost) << "from " << run.from;
        EXPECT_EQ(judged.found(FK_SURPLUS), run.surplus) << "from " << run.from;
    }
}

TEST(DemandedNumber, IsCompleteWithTheLastFrame) {
    demands_t demands = demandingStream(0x123);
    demands.loop = 100;
    Judged judged(demands);
    judged.see(classic, 0, 99);
    EXPECT_FALSE(judged.judge.complete());
    judged.see(classic, 99, 100);
    EXPECT_TRUE(judged.judge.complete());
    judged.end();
    EXPECT_TRUE(judged.findings.empty());
}

TEST(DemandedNumber, LosesWhatIsMissingAtTheEnd) {
    demands_t demands;
    demands.loop = 100;
    Judged judged(demands);
    const summary_t s = judged.see(classic, 0, 97).end();
    EXPECT_EQ(s.streams[0].totals.lost, 3U);
    EXPECT_EQ(judged.first(FK_LOST).first, 0x123U + 97);
    EXPECT_EQ(judged.first(FK_LOST).last, 0x123U + 99);
}

TEST(DemandedNumber, ExceededIsSurplus) {
    demands_t demands;
    demands.loop = 100;
    Judged judged(demands);
    judged.see(classic, 0, 105).end();
    EXPECT_EQ(judged.found(FK_SURPLUS), 5U);
}

TEST(DemandedFormat, FindsEveryFrameOfAnother) {
    demands_t demands;
    demands.fd = true;
    Judged wrong(demands);
    wrong.see(classic, 0, 100).end();
    EXPECT_EQ(wrong.found(FK_FORMAT), 100U);
    Judged right(demands);
    right.see(fd, 0, 100).end();
    EXPECT_EQ(right.found(FK_FORMAT), 0U);
}

TEST(DemandedFormat, FindsFdFramesThatAreNotFull) {
    demands_t demands;
    demands.fd = true;
    Judged judged(demands);
    for (std::uint32_t k = 0; k < 100; ++k) {
        receivedFrame_t f = classic.frame(k);
        f.fd = true;
        judged.see(f);
    }
    judged.end();
    EXPECT_EQ(judged.found(FK_FORMAT), 100U);
}

TEST(DemandedBitRateSwitch, FindsEveryFrameWithoutIt) {
    demands_t demands;
    demands.fd = demands.brs = true;
    Judged judged(demands);
    for (std::uint32_t k = 0; k < 100; ++k) {
        receivedFrame_t f = fd.frame(k);
        f.flags = k < 90 ? CANFD_BRS : 0;
        judged.see(f);
    }
    judged.end();
    EXPECT_EQ(judged.found(FK_FORMAT), 10U);
}

class DemandedErrors : public testing::TestWithParam<std::uint32_t> {};

TEST_P(DemandedErrors, AreFoundAllAndNothingBesides) {
    for (const patternSender_t sender : {classic, fd, patternSender_t{0x123, false, 64, true}}) {
        Judged judged(demandingErrors(GetParam()));
        judged.seeInjected(sender, 0, 2000, GetParam());
        const streamSummary_t s = only(judged.end());
        EXPECT_EQ(s.injection.found, 2000 / GetParam());
        EXPECT_EQ(s.injection.missing, 0U);
        EXPECT_TRUE(judged.findings.empty());
    }
}

TEST_P(DemandedErrors, AreRecognisedWithoutTheDemand) {
    Judged judged;
    judged.seeInjected(classic, 0, 3000, GetParam());
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.injection.period, GetParam());
    EXPECT_EQ(s.injection.found, 3000 / GetParam());
    EXPECT_FALSE(s.injection.told);
    EXPECT_EQ(judged.found(FK_CORRUPTED), 3000 / GetParam());
}

INSTANTIATE_TEST_SUITE_P(Each, DemandedErrors, testing::Values(1, 2, 7, 100, 200));

TEST(DemandedErrors, ThatAreMissingAreUninjected) {
    Judged judged(demandingErrors(100));
    judged.seeInjected(classic, 0, 999, 100).see(classic, 999, 1000).seeInjected(classic, 1000, 2000, 100);
    const summary_t s = judged.end();
    EXPECT_EQ(s.streams[0].injection.missing, 1U);
    EXPECT_EQ(judged.found(FK_UNINJECTED), 1U);
    EXPECT_EQ(judged.first(FK_UNINJECTED).first, 0x123U + 999);
}

TEST(DemandedErrors, ThatAreLostAreToldApart) {
    Judged judged(demandingErrors(100));
    judged.see(classic, 0, 99).see(classic, 100, 190).end();
    EXPECT_EQ(judged.judge.summary().streams[0].injection.lost, 1U);
    EXPECT_TRUE(judged.first(FK_LOST).injected);
}

TEST(DemandedErrors, LeaveOtherDamageAFinding) {
    Judged judged(demandingErrors(100));
    judged.see(classic, 0, 50);
    receivedFrame_t hurt = classic.frame(50); // not its turn
    hurt.data[5] ^= 0xFF;
    judged.see(hurt).see(classic, 51, 99);
    receivedFrame_t other = classic.frame(99); // its turn, but another byte
    other.data[6] ^= 0xFF;
    judged.see(other).see(classic, 100, 150);
    const summary_t s = judged.end();
    EXPECT_EQ(judged.found(FK_CORRUPTED), 2U);
    EXPECT_EQ(s.streams[0].injection.damagedOtherwise, 1U);
}

namespace {

/// Whether `frames` frames, a millisecond apart, are out of the demanded pace.
bool isOutOfPace(std::uint32_t frames, std::int64_t gap, std::int64_t jitter) {
    demands_t demands;
    demands.paced = true;
    demands.gap = gap;
    demands.jitter = jitter;
    Judged judged(demands);
    judged.see(classic, 0, frames).end();
    EXPECT_EQ(judged.findings.size(), judged.found(FK_PACE));
    return judged.found(FK_PACE) == 1;
}

} // namespace

TEST(DemandedPace, FindsAMeanThatIsMoreThanFivePercentOff) {
    EXPECT_FALSE(isOutOfPace(101, 1052 * 1000, 0));
    EXPECT_TRUE(isOutOfPace(101, 1053 * 1000, 0));
    EXPECT_FALSE(isOutOfPace(101, 953 * 1000, 0));
    EXPECT_TRUE(isOutOfPace(101, 952 * 1000, 0));
}

TEST(DemandedPace, NeedsAHundredGaps) {
    EXPECT_FALSE(isOutOfPace(100, 2000 * 1000, 0));
    EXPECT_TRUE(isOutOfPace(101, 2000 * 1000, 0));
}

TEST(DemandedPace, LeavesTheMeanTheRoomOfTheSendersJitter) {
    // 4 * jitter / sqrt(3 * 100) is 0.2309 ms where the jitter is a millisecond
    EXPECT_FALSE(isOutOfPace(101, 1230 * 1000, 1000 * 1000));
    EXPECT_TRUE(isOutOfPace(101, 1232 * 1000, 1000 * 1000));
    // and 0.0730 ms of 1000 gaps
    EXPECT_FALSE(isOutOfPace(1001, 1072 * 1000, 1000 * 1000));
    EXPECT_TRUE(isOutOfPace(1001, 1074 * 1000, 1000 * 1000));
}

TEST(DemandedPace, LooksAtASingleGapOnlyWhereItsJitterIsDemanded) {
    demands_t demands;
    demands.paced = true;
    demands.gap = Judged::millisecond;
    demands.jitter = 1000;
    demands.lateness = 2000;
    for (const bool each : {false, true}) {
        demands.eachGap = each;
        Judged allowed(demands);
        allowed.see(classic, 0, 10).pause(3000).see(classic, 10, 20).end();
        EXPECT_EQ(allowed.found(FK_PACE), 0U);
        Judged longer(demands);
        longer.see(classic, 0, 10).pause(3001).see(classic, 10, 20).end();
        EXPECT_EQ(longer.found(FK_PACE), each ? 1U : 0U);
    }
}

TEST(Jitter, MovesByASixteenthOfEachDifference) {
    demands_t demands;
    demands.paced = true;
    demands.gap = Judged::millisecond;
    Judged judged(demands);
    const auto jitter = [&judged] { return only(judged.judge.summary()).jitter; };
    judged.see(classic, 0, 50);
    EXPECT_EQ(jitter(), 0);
    judged.pause(160000).see(classic, 50, 51);
    EXPECT_EQ(jitter(), 10000);
    judged.pause(-6000).see(classic, 51, 52);
    EXPECT_EQ(jitter(), 10000 - 4000 / 16);
}

TEST(MaxGap, FindsASilenceOnce) {
    demands_t demands;
    demands.maxGap = 100 * Judged::millisecond;
    Judged judged(demands);
    judged.see(classic, 0, 10);
    judged.judge.settle(judged.time + 101 * Judged::millisecond);
    EXPECT_EQ(judged.found(FK_GAP), 1U);
    judged.judge.settle(judged.time + 150 * Judged::millisecond);
    judged.pause(200 * Judged::millisecond).see(classic, 10, 20).end();
    EXPECT_EQ(judged.found(FK_GAP), 1U);
}

TEST(MaxGap, NumbersASilenceByTheFrameBeforeItWhetherItLastsOrIsOver) {
    demands_t demands;
    demands.maxGap = 100 * Judged::millisecond;
    for (const bool over : {false, true}) {
        Judged judged(demands);
        judged.see(classic, 0, 10);
        const std::uint32_t before = judged.frames.back().counter;
        if (over) {
            judged.pause(200 * Judged::millisecond).see(classic, 12, 20);
        } else {
            judged.judge.settle(judged.time + 101 * Judged::millisecond);
        }
        ASSERT_EQ(judged.found(FK_GAP), 1U);
        EXPECT_EQ(judged.first(FK_GAP).first, before);
        EXPECT_EQ(judged.first(FK_GAP).last, before);
    }
}
