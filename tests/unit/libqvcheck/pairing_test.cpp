#include "libqvcheck/causes.h"
#include "tests/unit/libqvcheck/exchange.h"

#include <string>

#include <gtest/gtest.h>

namespace {

class Pairs : public ExchangeTest {};

TEST_P(Pairs, TellWhichFramesWereNotAnswered) {
    x.answersLost = {500, 501, 502, 900, 1999};
    Judged judged(answered());
    const summary_t s = run(judged, x);
    ASSERT_EQ(s.pairs.size(), 1U);
    EXPECT_EQ(s.pairs[0].unanswered, 5U);
    EXPECT_EQ(judged.found(FK_UNANSWERED), 5U);
    EXPECT_EQ(judged.first(FK_UNANSWERED).first, 0x101U + 500);
    EXPECT_EQ(judged.first(FK_UNANSWERED).last, 0x101U + 502);
    EXPECT_EQ(judged.found(FK_LOST), 0U);
}

TEST_P(Pairs, CountALostAnswerAsLostWhenNoneIsDemanded) {
    x.answersLost = {500};
    Judged judged;
    const summary_t s = run(judged, x);
    EXPECT_EQ(s.pairs[0].unanswered, 1U);
    EXPECT_EQ(judged.found(FK_UNANSWERED), 0U);
    EXPECT_EQ(judged.found(FK_LOST), 1U);
}

TEST_P(Pairs, TellALossOnTheWayOutOnce) {
    x.framesLost = {300, 301, 302};
    Judged judged(answered());
    const summary_t s = run(judged, x);
    EXPECT_EQ(judged.found(FK_LOST), 3U);
    EXPECT_EQ(judged.found(FK_UNANSWERED), 0U);
    ASSERT_EQ(s.streams.size(), 2U);
    EXPECT_EQ(s.streams[0].totals.lost, 3U);
    EXPECT_EQ(s.streams[1].totals.lost, 3U);
    EXPECT_EQ(s.streams[1].follows, 3U);
}

TEST_P(Pairs, BlameThisHostForAFrameThatWasAnswered) {
    x.framesUnseen = {300, 301};
    Judged judged(answered());
    const summary_t s = run(judged, x);
    EXPECT_EQ(judged.first(FK_LOST).causes[LC_UNSEEN], 2U);
    EXPECT_EQ(s.findings[FK_OVERRUN], 2U);
    EXPECT_EQ(s.findings[FK_LOST], 0U);
    EXPECT_EQ(s.pairs[0].unseen, 2U);
}

TEST_P(Pairs, TellAnEchoedDamageOnce) {
    x.damaged = {300};
    Judged judged(answered());
    const summary_t s = run(judged, x);
    EXPECT_EQ(judged.found(FK_CORRUPTED), 1U);
    EXPECT_EQ(s.pairs[0].echoedDamage, 1U);
    EXPECT_EQ(s.streams[1].totals.corrupted, 1U);
}

TEST_P(Pairs, ExcuseTheAnswersThatThisHostLostAndNoOther) {
    x.framesLost = {597};
    x.answersLost = {595, 596, 598, 599, 900};
    x.dropped = 3;
    Causes causes(LC_QUEUE);
    Judged judged(answered(), &causes);
    const summary_t s = run(judged, x);
    EXPECT_EQ(s.pairs[0].unanswered, 2U);
    EXPECT_EQ(judged.found(FK_UNANSWERED), 2U);
    EXPECT_EQ(s.findings[FK_OVERRUN], 3U);
    EXPECT_EQ(s.streams[1].follows, 1U);
}

TEST_P(Pairs, MissANodeThatDied) {
    x.answersLost = from(1000, 1000);
    Judged judged(answered());
    run(judged, x);
    EXPECT_EQ(judged.found(FK_UNANSWERED), 1000U);
}

TEST_P(Pairs, TellWhichFramesWereNotAnsweredHoweverLongAnswersAreWaitedFor) {
    x.framesLost = {700};
    x.answersLost = {500, 501, 502, 900};
    Judged judged(answeredWithin(10000)); // 5000 frames; the window has 1024
    const summary_t s = run(judged, x);
    EXPECT_EQ(s.pairs[0].unanswered, 4U);
    EXPECT_EQ(judged.found(FK_UNANSWERED), 4U);
}

TEST_P(Pairs, KnowTheAnswersBeforeAndBehindAnOutageOfTheNode) {
    for (const std::int64_t wait : {100, 1000, 10000}) {
        x.answersLost = from(1300, 100);
        Judged judged(answeredWithin(wait));
        const summary_t s = run(judged, x);
        ASSERT_EQ(s.pairs.size(), 1U);
        EXPECT_EQ(s.pairs[0].unanswered, 100U) << wait << " ms";
        EXPECT_EQ(judged.found(FK_UNANSWERED), 100U);
        EXPECT_EQ(judged.first(FK_UNANSWERED).first, 0x101U + 1300);
        EXPECT_EQ(judged.first(FK_UNANSWERED).last, 0x101U + 1399);
    }
}

TEST_P(Pairs, LeaveTheLastFramesOpen) {
    x.standing = false;
    x.answersLost = {1990, 1998, 1999}; // the last two may yet have come
    Judged judged(answered());
    const summary_t s = run(judged, x);
    EXPECT_EQ(s.pairs[0].unanswered, 1U);
    EXPECT_EQ(judged.found(FK_UNANSWERED), 1U);
}

TEST_P(Pairs, LeaveTheLastAnswersOfADemandedNumberOpen) {
    x.standing = false;
    x.framesLost = {1999};
    x.answersLost = {1000, 1990, 1997, 1998};
    Judged judged(answeredOf(2000));
    const summary_t s = run(judged, x);
    ASSERT_EQ(s.streams.size(), 2U);
    EXPECT_EQ(s.streams[0].totals.lost, 1U);
    EXPECT_EQ(s.pairs[0].unanswered, 2U);
    EXPECT_EQ(s.streams[1].totals.lost, 3U) << "two are unanswered, one follows the last frame";
    EXPECT_EQ(s.streams[1].follows, 1U);
    EXPECT_EQ(s.streams[1].totals.expected, 1998U);
    EXPECT_EQ(judged.found(FK_LOST), 1U);
}

TEST_P(Pairs, CountADemandedNumberFromTheFirstFrameSeen) {
    x.framesLost = {0};
    x.answersLost = {1, 2, 3};
    Judged judged(answeredOf(2000));
    const summary_t s = run(judged, x);
    EXPECT_EQ(judged.found(FK_LOST), 1U);
    EXPECT_EQ(judged.found(FK_UNANSWERED), 3U);
    EXPECT_EQ(s.streams[0].totals.expected, 2000U);
    EXPECT_EQ(s.streams[1].totals.expected, 2000U);
}

TEST_P(Pairs, LoseTheLastAnswersOfADemandedNumberInTheEnd) {
    x.answersLost = {1998, 1999};
    Judged judged(answeredOf(2000));
    const summary_t s = run(judged, x);
    EXPECT_EQ(s.pairs[0].unanswered, 2U);
    EXPECT_EQ(s.streams[1].totals.lost, 2U);
    EXPECT_EQ(s.streams[1].totals.expected, 2000U);
}

TEST_P(Pairs, AreDecidedToTheirLastFrameWhenTheSenderBeginsAnew) {
    for (const std::int64_t wait : {20, 1000}) {
        for (const std::int64_t pause : {2, 700, 3000}) {
            SCOPED_TRACE(std::to_string(wait) + " ms to wait, " + std::to_string(pause) + " ms of pause");
            x.frames = 700;
            x.answersLost = {300, 698, 699};
            Judged judged(answeredWithin(wait));
            exchange(judged, x);
            x.answersLost = {400};
            const summary_t s = run(judged.pause(pause * Judged::millisecond), x);
            ASSERT_EQ(s.pairs.size(), 1U);
            EXPECT_EQ(s.streams[0].restarts, 1U);
            EXPECT_EQ(s.pairs[0].unanswered, 4U);
            EXPECT_EQ(judged.found(FK_UNANSWERED), 4U);
            EXPECT_EQ(s.pairs[0].answered, 1396U);
            EXPECT_EQ(s.pairs[0].early, 0U);
            EXPECT_EQ(s.pairs[0].roundTrips->max(), roundTrip);
        }
    }
}

TEST_P(Pairs, AreDecidedToTheLastFrameBeforeAnOutage) {
    for (const std::int64_t wait : {20, 1000}) {
        for (const std::uint32_t outage : {100U, 700U}) {
            SCOPED_TRACE(std::to_string(wait) + " ms to wait, frames missing: " + std::to_string(outage));
            x.frames = 3000;
            x.answersLost = {900, 998, 999};
            x.framesLost = from(1000, outage);
            Judged judged(answeredWithin(wait));
            const summary_t s = run(judged, x);
            ASSERT_EQ(s.pairs.size(), 1U);
            EXPECT_EQ(s.pairs[0].unanswered, 3U);
            EXPECT_EQ(s.pairs[0].answered, 2997 - outage);
            EXPECT_EQ(s.streams.size(), 2U);
        }
    }
}

TEST_P(Pairs, AreDecidedToTheLastFrameBeforeAnOutageOfEitherHalf) {
    x.frames = 3000;
    x.answersLost = {900, 998};
    for (const std::uint32_t outage : {100U, 700U}) {
        exchange_t unseen = x;
        unseen.framesUnseen = from(1000, outage);
        exchange_t unanswered = x;
        unanswered.answersLost.merge(from(1000, outage));
        Judged judged(answered());
        EXPECT_EQ(run(judged, unseen).pairs[0].unanswered, 2U);
        Judged other(answered());
        EXPECT_EQ(run(other, unanswered).pairs[0].unanswered, 2 + outage);
    }
}

INSTANTIATE_TEST_SUITE_P(OnTwoInterfaces, Pairs, testing::Bool());

TEST(AStreamWithoutAnswers, IsUnansweredWhereAnswersAreDemanded) {
    Judged judged(answered());
    judged.see(patternSender_t{0x101}, 0, 100);
    judged.end();
    EXPECT_EQ(judged.found(FK_UNANSWERED), 100U);
}

TEST(AStreamThatIsFirstHeardFarFromItsStart, IsPairedWithoutALookAtEachFrame) {
    for (unsigned i = 0; i < 20; ++i) { // a look at each would take longer than this program may
        demands_t demands = answered();
        demands.ids = {0x101};
        Judged judged(demands);
        for (std::uint32_t k = 0x70000000; k < 0x70000064; ++k) {
            judged.see(patternSender_t{0x101}, k, k + 1);
            judged.see(patternSender_t{0x101, false, 8, true}, k, k + 1);
        }
        ASSERT_EQ(judged.end().pairs.size(), 1U);
    }
}

TEST(BillionsOfMissingFrames, ThatWereAnsweredArePlacedWithoutALookAtEach) {
    // A look at each would take longer than this program may.
    for (unsigned i = 0; i < 20; ++i) {
        Judged judged(answeredOf(INT32_MAX));
        for (std::uint32_t k = 0; k < 700; ++k) {
            if (k < 100) {
                judged.see(patternSender_t{0x101}, k, k + 1);
            }
            judged.see(patternSender_t{0x101, false, 8, true}, k, k + 1);
        }
        const summary_t s = judged.end();
        ASSERT_EQ(s.streams.size(), 2U);
        EXPECT_EQ(s.streams[0].totals.lost, INT32_MAX - 100U);
        EXPECT_EQ(s.streams[0].causes[LC_UNSEEN], 600U);
        EXPECT_EQ(s.streams[1].totals.lost, INT32_MAX - 700U);
    }
}

} // namespace

TEST(AnswersToASecondRun, AreRepeatsOfTheFirstBeforeThreeInARow) {
    const patternSender_t out = {0x123};
    patternSender_t back = out;
    back.answer = true;
    Judged judged;
    for (const std::uint32_t frames : {26U, 40U}) {
        for (std::uint32_t k = 0; k < frames; ++k) {
            judged.see(out, k, k + 1);
            if (frames == 26 || k != 2) { // 0 and 1 may be repeats, and nothing in them says more
                judged.see(back, k, k + 1);
            }
        }
    }
    const summary_t s = judged.end();
    ASSERT_EQ(s.streams.size(), 2U);
    ASSERT_EQ(s.pairs.size(), 1U);
    EXPECT_EQ(s.streams[1].restarts, 1U);
    EXPECT_EQ(s.streams[1].totals.repeated, 2U);
    EXPECT_EQ(s.pairs[0].unanswered, 3U);
    EXPECT_EQ(s.pairs[0].answered, 26U + 37);
}
