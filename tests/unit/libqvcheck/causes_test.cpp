#include "libqvcheck/causes.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace {

constexpr std::uint8_t can0 = 0;
constexpr std::uint8_t can1 = 1;

/// `frames` lost on can0 between the arrivals 10 and 20, the times 1000 and 2000.
loss_t lossOf(std::uint64_t frames) {
    return {can0, frames, 10, 20, 1000, 2000};
}

/// "queue 3, before 2": the shares in their order.
std::string text(const lossShares_t& shares) {
    static constexpr const char* names[LC_NUM] = {"queue",  "link", "driver", "kernel",
                                                  "unseen", "bus",  "input",  "before"};
    std::string all;
    for (std::size_t i = 0; i < LC_NUM; ++i) {
        if (shares[i] > 0) {
            all += (all.empty() ? "" : ", ") + std::string(names[i]) + ' ' + std::to_string(shares[i]);
        }
    }
    return all;
}

struct CausesOnTheBus : ::testing::Test {
    std::string blame(std::uint64_t frames) { return text(causes.blame(lossOf(frames))); }
    void drop(std::uint64_t arrival, std::uint32_t n, std::uint8_t interface = can0) {
        causes.dropped(interface, arrival, 0, n);
    }

    Causes causes{LC_QUEUE};
};

} // namespace

TEST_F(CausesOnTheBus, WithoutEvidenceBlameNobodyHere) {
    EXPECT_EQ(blame(5), "before 5");
}

TEST_F(CausesOnTheBus, GiveDropsToTheGapThatEnclosesThem) {
    drop(11, 3);
    EXPECT_EQ(blame(3), "queue 3");
}

TEST_F(CausesOnTheBus, TakeDropsRightBeforeTheFrameThatShowedTheGap) {
    drop(20, 3);
    EXPECT_EQ(blame(3), "queue 3");
}

TEST_F(CausesOnTheBus, LeaveDropsOutsideOfTheGapAlone) {
    drop(10, 3); // right before the frame before the gap
    drop(21, 3);
    EXPECT_EQ(blame(3), "before 3");
    EXPECT_EQ(causes.unclaimed(), 6U);
}

TEST_F(CausesOnTheBus, LeaveDropsOfAnotherInterfaceAlone) {
    drop(15, 3, can1);
    EXPECT_EQ(blame(3), "before 3");
}

TEST_F(CausesOnTheBus, ExplainNoMoreFramesThanWereDropped) {
    drop(15, 3);
    EXPECT_EQ(blame(5), "queue 3, before 2");
    EXPECT_EQ(blame(5), "before 5") << "they are spent";
    EXPECT_EQ(causes.unclaimed(), 0U);
}

TEST_F(CausesOnTheBus, ShareTheDropsOfOneEventOutAmongSeveralGaps) {
    drop(15, 5);
    EXPECT_EQ(blame(2), "queue 2");
    EXPECT_EQ(causes.unclaimed(), 3U);
    EXPECT_EQ(blame(2), "queue 2");
    EXPECT_EQ(blame(2), "queue 1, before 1");
}

TEST_F(CausesOnTheBus, AddUpTheDropsInOneGap) {
    drop(9, 100);
    drop(12, 2);
    drop(15, 3);
    drop(20, 4);
    drop(30, 100);
    EXPECT_EQ(blame(100), "queue 9, before 91");
}

TEST_F(CausesOnTheBus, LetExactEvidenceComeFirstAndTheRestFallToTheNext) {
    causes.timed(LC_BUS, can0, 1500, 1500, Causes::ANY_NUMBER);
    causes.timed(LC_KERNEL, Causes::EVERY_INTERFACE, 1500, 1500, 2);
    drop(15, 3);
    EXPECT_EQ(blame(10), "queue 3, kernel 2, bus 5");
}

TEST_F(CausesOnTheBus, FollowTheOrderOfTheCausesWhateverCameFirst) {
    causes.placed(LC_BUS, can0, 12);
    causes.placed(LC_DRIVER, can0, 13);
    EXPECT_EQ(blame(10), "driver 10");
    causes.timed(LC_LINK, can0, 1100, 1200, Causes::ANY_NUMBER);
    EXPECT_EQ(blame(10), "link 10");
}

TEST_F(CausesOnTheBus, LetAnErrorFrameExplainEveryGapThatEnclosesIt) {
    causes.placed(LC_DRIVER, can0, 20);
    EXPECT_EQ(blame(7), "driver 7");
    EXPECT_EQ(blame(7), "driver 7");
    EXPECT_EQ(causes.unclaimed(), 0U) << "no drops";
}

TEST_F(CausesOnTheBus, MatchWhatHasATimeWithTheTimesOfTheGap) {
    causes.timed(LC_LINK, can0, 500, 1000, Causes::ANY_NUMBER); // over with the frame before the gap
    causes.timed(LC_LINK, can0, 2001, 3000, Causes::ANY_NUMBER);
    causes.timed(LC_LINK, can1, 1500, 1600, Causes::ANY_NUMBER);
    EXPECT_EQ(blame(1), "before 1");
    causes.timed(LC_LINK, can0, 2000, 3000, Causes::ANY_NUMBER);
    EXPECT_EQ(blame(1), "link 1");
}

TEST_F(CausesOnTheBus, MatchWhatLastedLongerThanTheGap) {
    causes.timed(LC_LINK, can0, 0, 5000, Causes::ANY_NUMBER);
    EXPECT_EQ(blame(1), "link 1");
}

TEST_F(CausesOnTheBus, MatchACounterThatGrewUpToAMomentInTheGap) {
    causes.timed(LC_DRIVER, can0, 500, 1001, Causes::ANY_NUMBER);
    EXPECT_EQ(blame(1), "driver 1");
}

TEST_F(CausesOnTheBus, KeepTheLastEvidenceAndTheSumOfAllDrops) {
    for (std::size_t i = 1; i <= 2 * Causes::MOST + 5; ++i) {
        drop(i, 1);
    }
    const auto blamed = [this](std::uint64_t before, std::uint64_t after) {
        return text(causes.blame({can0, 1000, before, after, 0, 0}));
    };
    EXPECT_EQ(blamed(Causes::MOST, Causes::MOST + 10), "queue 5, before 995")
        << "the first five of the second round are forgotten";
    EXPECT_EQ(blamed(2 * Causes::MOST, 2 * Causes::MOST + 5), "queue 5, before 995");
    EXPECT_EQ(causes.unclaimed(), 2 * Causes::MOST - 5);
}

TEST(CausesOfOneQueueForAll, GiveADropToWhicheverInterfaceMissesIt) {
    Causes causes(LC_QUEUE, true);
    causes.dropped(can1, 15, 0, 3);
    EXPECT_EQ(text(causes.blame(lossOf(3))), "queue 3");
}

TEST(CausesInARecording, NameTheLoggerForItsDrops) {
    Causes causes(LC_INPUT);
    causes.dropped(can0, 15, 0, 3);
    EXPECT_EQ(text(causes.blame(lossOf(4))), "input 3, before 1");
    EXPECT_EQ(causes.unclaimed(), 0U);
}

TEST(CausesInARecording, ExplainNoFrameTwice) {
    Causes causes(LC_INPUT);
    causes.dropped(can0, 15, 0, 3);
    causes.timed(LC_INPUT, can0, 1500, 1500, Causes::ANY_NUMBER);
    EXPECT_EQ(text(causes.blame(lossOf(5))), "input 5");
}
