// Streams whose first identifiers have the same low byte: nothing but their place tells them apart.

#include "tests/unit/libqvcheck/judged.h"

#include <string>

#include <gtest/gtest.h>

namespace {

demands_t demandingBoth() {
    demands_t demands;
    demands.ids = {0x100, 0x200};
    return demands;
}

/// Are two streams marked, of which one loses frames where it is `behind` the other?
bool ambiguous(std::uint32_t behind, std::uint32_t lost) {
    const patternSender_t one = {0x100};
    const patternSender_t other = {0x200};
    Judged judged;
    judged.see(one, 0, 0x80);
    for (std::uint32_t k = 0; k < behind; ++k) {
        judged.pause(-900000).see(other, k, k + 1);
        if (k == 50) {
            judged.see(one, 0x80, 0x100);
        }
    }
    judged.pause(1500 * Judged::millisecond); // it is known by now that they are two
    judged.see(one, 0x100 + lost, 0x101 + lost);
    const summary_t s = judged.end();
    EXPECT_EQ(s.streams.size(), 2U);
    EXPECT_EQ(s.streams.front().ambiguous, s.streams.back().ambiguous);
    return s.streams.front().ambiguous;
}

} // namespace

TEST(StreamsWithEqualLowBytes, AreMarkedWhereOneLosesAFrameWithin1023OfTheOther) {
    for (const std::uint32_t behind : {100U, 1022U, 1023U, 1024U, 2000U}) {
        EXPECT_EQ(ambiguous(behind, 1), behind <= 1023) << behind;
    }
}

TEST(StreamsWithEqualLowBytes, AreNotMarkedWhileNothingIsInDoubt) {
    EXPECT_FALSE(ambiguous(100, 0));
}

TEST(StreamsWithEqualLowBytes, GiveAFrameThatBothExpectToTheOneHeardLast) {
    const patternSender_t one = {0x100};
    const patternSender_t other = {0x200};
    Judged judged(demandingBoth());
    judged.see(one, 0, 0x180).see(other, 0, 0x80); // both expect 280
    judged.see(other, 0x7F, 0x80).see(other, 0x80, 0x90);
    const summary_t s = judged.end();
    ASSERT_EQ(s.streams.size(), 2U);
    EXPECT_EQ(s.streams[0].totals.intact, 0x180U);
    EXPECT_EQ(s.streams[1].totals.intact, 0x90U);
}

TEST(DemandedStream, IsFoundedOnlyByAFrameThatIsNearerToItsStartThanToAnother) {
    struct case_t {
        std::uint32_t lost;  // by the first
        std::uint32_t start; // how far the frame is from the second one's start
        std::uint64_t first; // frames of the first that are counted as lost
    };
    for (const case_t& c : {case_t{5, 20, 5}, case_t{20, 5, 0}}) {
        SCOPED_TRACE(std::to_string(c.lost) + " lost");
        const std::uint32_t number = 0x100 + c.start;
        Judged judged(demandingBoth());
        judged.see(patternSender_t{0x100}, 0, number - c.lost);
        judged.see(patternSender_t{0x100}, number, number + 1);
        const summary_t s = judged.end();
        ASSERT_FALSE(s.streams.empty());
        EXPECT_EQ(s.streams[0].totals.lost, c.first);
        EXPECT_EQ(s.streams.size(), c.first > 0 ? 1U : 2U);
    }
}
