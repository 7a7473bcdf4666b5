// How near a frame has to be, and what decides between two streams that could take it.

#include "tests/unit/libqvcheck/judged.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace {

const patternSender_t sender = {0x123};

std::size_t told(const Judged& judged, taken_t taken) {
    return static_cast<std::size_t>(
        std::count_if(judged.frames.begin(), judged.frames.end(),
                      [taken](const Judged::frame_t& frame) { return frame.taken == taken; }));
}

} // namespace

TEST(SoundFrame, IsTakenAtOnceUpTo63AheadAndHeldFrom64On) {
    for (const std::uint32_t ahead : {62U, 63U, 64U, 65U}) {
        SCOPED_TRACE(ahead);
        Judged judged;
        judged.see(sender, 0, 500).see(sender, 500 + ahead, 501 + ahead);
        EXPECT_EQ(judged.frames.size(), ahead < 64 ? 501U : 500U);
    }
}

TEST(SoundFrame, IsRepeatedAtOnceUpTo64BehindAndHeldFrom65On) {
    for (const std::uint32_t behind : {63U, 64U, 65U, 66U}) {
        SCOPED_TRACE(behind);
        Judged judged;
        judged.see(sender, 0, 500).see(sender, 500 - behind, 501 - behind).see(sender, 500, 501);
        EXPECT_EQ(told(judged, FT_REPEATED), behind <= 64 ? 1U : 0U);
    }
}

TEST(SoundFrame, BelongsToAStreamJoinedUpTo64FramesBehindIt) {
    const patternSender_t joined = {0x12345};
    for (const std::uint32_t below : {63U, 64U, 65U, 66U}) {
        SCOPED_TRACE(below);
        Judged judged;
        judged.see(joined, 100, 200).see(joined, 100 - below, 101 - below);
        EXPECT_EQ(told(judged, FT_REORDERED), below <= 64 ? 1U : 0U);
    }
}

TEST(SoundFramesFarApart, BelongToTheStreamThatTheyLeadTo) {
    for (const std::uint32_t third : {300U, 250U}) { // and near the second one, so that it continues that
        SCOPED_TRACE(third);
        Judged judged;
        judged.see(sender, 0, 100).see(sender, 200, 201).see(sender, third, third + 1);
        const streamSummary_t s = only(judged.see(sender, third + 50, 2000).end());
        EXPECT_EQ(s.totals.intact, 2000 - third + 52);
        EXPECT_EQ(s.totals.lost, third - 52);
        EXPECT_EQ(judged.found(FK_LOST), third - 52) << "and nothing else is found";
        EXPECT_EQ(judged.findings.size(), 3U);
    }
}

TEST(SoundFramesFarApart, BelongToTheStreamThatTheyLeadToWhateverOthersSend) {
    // Both keys are in the same list of the table.
    Judged judged;
    judged.see(patternSender_t{0x5000D, false, 64}, 0, 100).see(patternSender_t{0x12345}, 0, 1);
    judged.see(patternSender_t{0x12345}, 200, 2000);
    const summary_t s = judged.end();
    ASSERT_EQ(s.streams.size(), 2U);
    EXPECT_EQ(s.streams[1].totals.intact, 1801U);
    EXPECT_EQ(s.foreign, 0U);
}

TEST(SoundFramesFarApart, BeginAStreamUpTo1023FramesBelowTheThreeThatFoundIt) {
    const patternSender_t joined = {0x12345};
    for (const std::uint32_t below : {65U, 1023U, 1024U}) {
        SCOPED_TRACE(below);
        Judged judged;
        judged.see(joined, 1500 - below, 1501 - below).see(joined, 1500, 3000);
        const streamSummary_t s = only(judged.end());
        EXPECT_EQ(s.totals.intact, below < 1024 ? 1501U : 1500U);
        EXPECT_EQ(s.totals.lost, below < 1024 ? below - 1 : 0U);
        EXPECT_EQ(s.totals.stray, below < 1024 ? 0U : 1U);
    }
}

TEST(SoundFramesFarApart, AreNotPartOfAnotherSendersStream) {
    Judged judged;
    judged.see(patternSender_t{0x12346}, 100, 101).see(patternSender_t{0x12345}, 300, 2000);
    const summary_t s = judged.end();
    EXPECT_EQ(only(s).first, 0x12345U + 300);
    EXPECT_EQ(s.foreign, 1U);
}

TEST(SoundFramesFarApart, AreNotPartOfAStreamThatBeginsAboveThem) {
    Judged judged;
    judged.see(patternSender_t{0x400}, 0x80, 0x81).see(patternSender_t{0x500}, 0, 1000);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.first, 0x500U);
    EXPECT_EQ(s.totals.stray, 1U);
}

TEST(SoundFramesFarApart, AreRepeatsWhereTheSilentStreamHasThem) {
    Judged judged;
    judged.see(sender, 0, 500).see(sender, 300, 301).see(sender, 600, 2000);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.intact, 1900U);
    EXPECT_EQ(s.totals.repeated, 1U);
}

TEST(MissingFrame, FillsItsPlaceUpTo1024FramesBehind) {
    demands_t demands;
    demands.wait = 10000 * Judged::millisecond;
    for (const std::uint32_t behind : {1023U, 1024U, 1025U}) {
        SCOPED_TRACE(behind);
        Judged judged(demands);
        judged.see(sender, 0, 10).see(sender, 11, 10 + behind).see(sender, 10, 11);
        EXPECT_EQ(told(judged, FT_REORDERED), behind <= 1024 ? 1U : 0U);
        EXPECT_EQ(judged.found(FK_LOST), behind <= 1024 ? 0U : 1U);
    }
}

TEST(MissingFrame, IsGivenUpWhenItsGapIsAsOldAsDemanded) {
    Judged judged;
    judged.see(sender, 0, 10).see(sender, 11, 12); // the last one shows the gap
    const std::int64_t due = judged.time + demands_t().wait;
    judged.judge.settle(due - 1);
    EXPECT_EQ(judged.found(FK_LOST), 0U);
    judged.judge.settle(due);
    EXPECT_EQ(judged.found(FK_LOST), 1U);
}

TEST(ThreeFrames, FoundAStreamUpTo16Apart) {
    for (const std::uint32_t apart : {1U, 7U, 8U, 15U, 16U, 17U}) {
        SCOPED_TRACE(apart);
        Judged judged;
        for (std::uint32_t i = 0; i < 3; ++i) {
            judged.see(sender, i * apart, i * apart + 1);
        }
        EXPECT_EQ(judged.streams.size(), apart <= 16 ? 1U : 0U);
    }
}

TEST(ThreeFrames, FoundAStreamThoughTheOnesBeforeThemWaitNoLonger) {
    demands_t demands;
    demands.wait = 20 * Judged::millisecond;
    Judged judged(demands);
    for (const std::uint32_t k : {0U, 1U, 3U, 4U, 5U}) {
        judged.time = k * 9500000LL;
        judged.see(sender, k, k + 1);
    }
    EXPECT_EQ(judged.streams.size(), 1U);
}

TEST(SoundFrameOfTwoStreams, IsARepeatOnlyWhereTheOtherMissesOver16FramesMore) {
    // s1 expects 240, s2 a counter from 200 on.
    demands_t demands;
    demands.ids = {0x100, 0x200};
    struct case_t {
        std::uint32_t behind; // in s1
        std::uint32_t absent; // in s2
        bool repeated;
    };
    for (const case_t& c : {case_t{1, 16, false}, case_t{1, 17, false}, case_t{1, 18, true},
                            case_t{5, 10, false}, case_t{5, 21, false}, case_t{5, 22, true}}) {
        SCOPED_TRACE(std::to_string(c.behind) + " behind, " + std::to_string(c.absent) + " missing");
        Judged judged(demands);
        const std::uint32_t number = 0x40 - c.behind; // of s2's frame
        judged.see(patternSender_t{0x100}, 0, 0x50).see(patternSender_t{0x200}, 0, number - c.absent);
        judged.see(patternSender_t{0x100}, 0x50, 0x140);
        judged.see(patternSender_t{0x200}, number, number + 1).see(patternSender_t{0x100}, 0x140, 0x141);
        EXPECT_EQ(told(judged, FT_REPEATED), c.repeated ? 1U : 0U);
    }
}

TEST(FrameOfNoStream, IsHeldFor512FramesOfItsInterface) {
    Judged judged;
    judged.see(sender, 0, 10).see(patternSender_t{0x345}, 0, 1).see(sender, 10, 10 + 511);
    EXPECT_EQ(told(judged, FT_FOREIGN), 0U);
    judged.see(sender, 521, 522);
    EXPECT_EQ(told(judged, FT_FOREIGN), 1U);
}

TEST(FramesOfNoStream, AreHeldUpTo256OfAnInterface) {
    Judged judged;
    for (std::uint32_t i = 0; i < 256; ++i) {
        judged.see(patternSender_t{0x100 + i}, 0, 1);
    }
    EXPECT_EQ(told(judged, FT_FOREIGN), 0U);
    judged.see(patternSender_t{0x300}, 0, 1);
    EXPECT_EQ(told(judged, FT_FOREIGN), 1U);
}

TEST(SilentStream, HasASuccessorAfter1024Frames) {
    Judged judged;
    judged.see(sender, 0, 500);
    for (std::uint32_t k = 0; k < 1024; ++k) {
        EXPECT_EQ(judged.found(FK_RESTART), 0U) << k;
        judged.pause(-900000).see(sender, k, k + 1);
    }
    EXPECT_EQ(judged.found(FK_RESTART), 1U);
}

class Silence : public testing::TestWithParam<std::int64_t> {};

TEST_P(Silence, OfAtLeastASecondOrEightGapsMakesARestart) {
    const std::int64_t gap = GetParam() * Judged::millisecond;
    const std::int64_t due = std::max(1000 * Judged::millisecond, 8 * gap);
    Judged judged;
    const auto send = [&](std::uint32_t number) {
        judged.pause(gap - Judged::millisecond).see(sender, number, number + 1);
    };
    for (std::uint32_t k = 0; k < 100; ++k) {
        send(k);
    }
    const std::int64_t last = judged.time;
    for (std::uint32_t k = 0; judged.time + gap < last + due; ++k) {
        send(k);
    }
    EXPECT_EQ(judged.found(FK_RESTART), 0U);
    judged.judge.settle(last + due - 1);
    EXPECT_EQ(judged.found(FK_RESTART), 0U);
    judged.judge.settle(last + due);
    EXPECT_EQ(judged.found(FK_RESTART), 1U);
}

INSTANTIATE_TEST_SUITE_P(WithGapsOf, Silence, testing::Values(5, 100, 125, 150, 300),
                         [](const auto& gap) { return std::to_string(gap.param) + "ms"; });

TEST(DamagedFrame, IsPlacedByTwoWitnessesAndNotByOne) {
    const patternSender_t from = {0x123, false, 5};
    for (const bool identifierToo : {false, true}) {
        SCOPED_TRACE(identifierToo);
        Judged judged;
        receivedFrame_t hurt = from.frame(100);
        hurt.data[4] ^= 0x55; // all of the run
        hurt.canId ^= identifierToo ? 0x40 : 0;
        judged.see(from, 0, 100).see(hurt).see(from, 101, 1000);
        const summary_t s = judged.end();
        EXPECT_EQ(only(s).totals.corrupted, identifierToo ? 0U : 1U);
        EXPECT_EQ(only(s).totals.lost, identifierToo ? 1U : 0U);
        EXPECT_EQ(s.foreign, identifierToo ? 1U : 0U);
    }
}

TEST(DamagedFrame, ThatIsSoundFarAwayIsPlacedLessThan128FramesFromWhereItWasDue) {
    constexpr std::uint32_t due = 500;
    receivedFrame_t hurt = sender.frame(due);
    hurt.data[2] ^= 0x08; // sound in itself as well
    for (const std::uint32_t moved : {0U, 1U, 127U, 128U, 129U}) {
        for (const bool early : {false, true}) {
            SCOPED_TRACE(std::to_string(moved) + (early ? " early" : " late"));
            Judged judged;
            if (early) {
                judged.see(sender, 0, due - moved).see(hurt).see(sender, due - moved, due);
            } else {
                judged.see(sender, 0, due).see(sender, due + 1, due + 1 + moved).see(hurt);
            }
            const std::uint32_t next = early || moved == 0 ? due + 1 : due + 1 + moved;
            const streamSummary_t s = only(judged.see(sender, next, 1200).end());
            const bool placed = moved < 128;
            EXPECT_EQ(s.totals.corrupted, placed ? 1U : 0U);
            EXPECT_EQ(s.totals.stray, placed ? 0U : 1U);
        }
    }
}

TEST(DamagedFrame, ThatIsSoundFarAwayIsPlacedWithoutTimeStamps) {
    Judged judged;
    const auto see = [&judged](receivedFrame_t frame) {
        frame.time = receivedFrame_t::noTime;
        judged.judge.judge(frame);
    };
    for (std::uint32_t k = 0; k < 1200; ++k) {
        receivedFrame_t frame = sender.frame(k);
        frame.data[0] ^= k == 500 ? 0xFF : 0;
        see(frame);
        if (k == 501) {
            see(sender.frame(500)); // and comes again
        }
    }
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.intact, 1200U);
    EXPECT_EQ(s.totals.corruptedRepeats, 1U);
}

TEST(SoundFrame, IsNoDamagedOneOfFramesThatCameOrAreMissingLater) {
    for (const std::uint32_t missing : {3048U, 0U}) { // as 1000 would be with one bit inverted
        SCOPED_TRACE(missing);
        Judged judged;
        judged.see(sender, 0, 101).see(sender, 1000, 1001);
        const std::uint32_t end = missing > 0 ? 3100 : 2900;
        for (std::uint32_t k = 101; k < end; k += 30) {
            judged.see(sender, k, k + 1);
        }
        const streamSummary_t s = only(judged.see(sender, end, end + 600).end());
        EXPECT_EQ(s.totals.corrupted + s.totals.corruptedRepeats, 0U);
        EXPECT_EQ(s.totals.stray, 1U);
    }
}

TEST(ThreeDamagedFrames, ThatAreSoundFarAwayFoundNoStreamWhereOneWasHeardSinceTheFirst) {
    Judged judged;
    judged.see(sender, 0, 50);
    for (std::uint32_t k = 50; k < 54; ++k) {
        receivedFrame_t frame = sender.frame(k);
        frame.data[0] ^= k == 51 ? 0 : 0xFF; // sound in itself as well
        judged.see(frame);
    }
    const streamSummary_t s = only(judged.see(sender, 54, 2000).end());
    EXPECT_EQ(s.totals.corrupted, 3U);
    EXPECT_EQ(s.totals.lost, 0U);
}

TEST(SlowPattern, IsFoundUpToFourSecondsBetweenFramesHoweverShortTheWait) {
    for (const std::int64_t wait : {1, 1000}) {
        demands_t demands;
        demands.wait = wait * Judged::millisecond;
        Judged judged(demands);
        for (std::uint32_t k = 0; k < 10; ++k) {
            judged.pause(3999 * Judged::millisecond).see(sender, k, k + 1);
        }
        const summary_t s = judged.end();
        EXPECT_EQ(only(s).totals.intact, 10U);
        EXPECT_EQ(s.foreign, 0U);
        EXPECT_TRUE(judged.findings.empty());
    }
}

TEST(FrameOfNoStream, IsHeldForTenSecondsAndForTheWaitIfThatIsLonger) {
    for (const std::int64_t wait : {1, 20}) {
        const std::int64_t held = std::max<std::int64_t>(wait, 10) * 1000 * Judged::millisecond;
        demands_t demands;
        demands.wait = wait * 1000 * Judged::millisecond;
        Judged judged(demands);
        judged.see(sender, 0, 1);
        judged.judge.settle(judged.time + held - 1);
        EXPECT_EQ(told(judged, FT_FOREIGN), 0U);
        judged.judge.settle(judged.time + held);
        EXPECT_EQ(told(judged, FT_FOREIGN), 1U);
    }
}

TEST(FrameThatFitsNoPlaceOfAStream, IsHeldForTheWait) {
    Judged judged;
    judged.see(sender, 0, 10).see(sender, 0x40000400, 0x40000401);
    judged.judge.settle(judged.time + 1000 * Judged::millisecond - 1);
    EXPECT_EQ(told(judged, FT_STRAY), 0U);
    judged.judge.settle(judged.time + 1000 * Judged::millisecond);
    EXPECT_EQ(told(judged, FT_STRAY), 1U);
}

TEST(SlowPattern, LetsFramesThatCameAfterItsFirstBeDecidedOnce) {
    const patternSender_t sender = {0x100};
    const patternSender_t slow = {0x211};
    Judged judged;
    judged.see(sender, 0, 100).see(slow, 0, 1).see(sender, 5000, 5001);
    for (std::uint32_t k = 100; k < 130; ++k) {
        judged.pause(100 * Judged::millisecond).see(sender, k, k + 1);
    }
    EXPECT_EQ(judged.found(FK_STRAY), 1U);
    EXPECT_EQ(told(judged, FT_FOREIGN), 0U) << "it is still awaited";
    EXPECT_EQ(judged.end().streams[0].totals.stray, 1U);
}
